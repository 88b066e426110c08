#include "smart/NvmeSmartDataParser.h"

#include "smart/SmartData.h"

namespace zel {

bool NvmeSmartDataParser::parseConfig(const std::string& path) {
    IniFile file(path);
    const bool parsed = parseNvmeConfig(profileLookup(file), &config_);
    layout_ = nvmeLayout(config_);
    return parsed;
}

SmartPagePlan NvmeSmartDataParser::planPages(const std::vector<uint32_t>& logIds,
                                             const std::vector<uint32_t>& sizes) const {
    return planNvmePages(logIds, sizes, config_);
}

bool NvmeSmartDataParser::parseData(const uint8_t* data, size_t size, int32_t logPageId,
                                    SmartReading* reading) const {
    return parseNvmeData(config_, logPageId, data, size, reading);
}

}  // namespace zel
