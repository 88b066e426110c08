#include "smart/SataSmartDataParser.h"

#include "smart/SmartData.h"

namespace zel {

bool SataSmartDataParser::parseConfig(const std::string& path) {
    IniFile file(path);
    return parseSataConfig(profileLookup(file), &config_);
}

SmartPagePlan SataSmartDataParser::planPages(const std::vector<uint32_t>& logIds,
                                             const std::vector<uint32_t>& sizes) const {
    return planSataPages(logIds, sizes);
}

bool SataSmartDataParser::parseData(const uint8_t* data, size_t size, int32_t, SmartReading* reading) const {
    return parseSataData(config_, data, size, reading);
}

SmartComparison SataSmartDataParser::compare(const SmartReadings& readings, uint64_t nowMs, size_t width) const {
    return compareSata(config_, readings, registry(), nowMs, width);
}

void SataSmartDataParser::writeIni(const SmartReading& current, IniFile& ini) const {
    for (size_t i = 0; i < config_.attributes.size(); ++i) {
        const uint64_t value = i < current.size() ? unsignedValue(current[i]) : 0;
        ini.writeText("smart", std::to_string(config_.attributes[i].slice.id), std::to_string(value));
    }
}

std::vector<std::string> SataSmartDataParser::csvHeading() const { return sataCsvHeadings(config_); }

std::vector<std::string> SataSmartDataParser::csvRow(const SmartReading& reading, const std::string& time) const {
    return sataCsvRow(config_, reading, time);
}

std::vector<int32_t> SataSmartDataParser::attributePages() const {
    return std::vector<int32_t>(config_.attributes.size(), -1);
}

}  // namespace zel
