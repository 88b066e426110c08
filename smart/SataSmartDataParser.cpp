#include "smart/SataSmartDataParser.h"

#include "smart/SmartData.h"

namespace zel {

bool SataSmartDataParser::parseConfig(const std::string& path) {
    IniFile file(path);
    const bool parsed = parseSataConfig(profileLookup(file), &config_);
    layout_ = sataLayout(config_);
    return parsed;
}

SmartPagePlan SataSmartDataParser::planPages(const std::vector<uint32_t>& logIds,
                                             const std::vector<uint32_t>& sizes) const {
    return planSataPages(logIds, sizes);
}

bool SataSmartDataParser::parseData(const uint8_t* data, size_t size, int32_t, SmartReading* reading) const {
    return parseSataData(config_, data, size, reading);
}

}  // namespace zel
