#include "smart/NvmeSmartDataParser.h"

#include "core/TextFormat.h"
#include "smart/SmartData.h"

namespace zel {

bool NvmeSmartDataParser::parseConfig(const std::string& path) {
    IniFile file(path);
    return parseNvmeConfig(profileLookup(file), &config_);
}

SmartPagePlan NvmeSmartDataParser::planPages(const std::vector<uint32_t>& logIds,
                                             const std::vector<uint32_t>& sizes) const {
    return planNvmePages(logIds, sizes, config_);
}

bool NvmeSmartDataParser::parseData(const uint8_t* data, size_t size, int32_t logPageId,
                                    SmartReading* reading) const {
    return parseNvmeData(config_, logPageId, data, size, reading);
}

SmartComparison NvmeSmartDataParser::compare(const SmartReadings& readings, uint64_t nowMs, size_t width) const {
    return compareNvme(config_, readings, registry(), nowMs, width);
}

void NvmeSmartDataParser::writeIni(const SmartReading& current, IniFile& ini) const {
    for (size_t i = 0; i < config_.attributes.size(); ++i) {
        const NvmeAttrConfig& a = config_.attributes[i];
        const uint64_t value = i < current.size() ? unsignedValue(current[i]) : 0;
        ini.writeText(formatText("lid_%d", a.logPageId),
                      formatText("%d:%d", static_cast<int>(a.range.end) - 1, static_cast<int>(a.range.low)),
                      std::to_string(value));
    }
}

std::vector<std::string> NvmeSmartDataParser::csvHeading() const { return nvmeCsvHeadings(config_); }

std::vector<std::string> NvmeSmartDataParser::csvRow(const SmartReading& reading, const std::string& time) const {
    return nvmeCsvRow(config_, reading, time);
}

std::vector<int32_t> NvmeSmartDataParser::attributePages() const {
    std::vector<int32_t> pages;
    for (const NvmeAttrConfig& a : config_.attributes) pages.push_back(a.logPageId);
    return pages;
}

}  // namespace zel
