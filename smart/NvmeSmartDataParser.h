#pragma once

#include "smart/SmartDataParser.h"

namespace zel {

// NVMe: byte ranges of the log pages the configuration's sections name.
class NvmeSmartDataParser : public SmartDataParser {
public:
    bool parseConfig(const std::string& path) override;
    SmartPagePlan planPages(const std::vector<uint32_t>& logIds, const std::vector<uint32_t>& sizes) const override;
    bool parseData(const uint8_t* data, size_t size, int32_t logPageId, SmartReading* reading) const override;
    SmartComparison compare(const SmartReadings& readings, uint64_t nowMs, size_t width) const override;
    // Section "lid_%d", key "%d:%d" (last and first byte) = value of its bytes.
    void writeIni(const SmartReading& current, IniFile& ini) const override;
    std::vector<std::string> csvHeading() const override;
    std::vector<std::string> csvRow(const SmartReading& reading, const std::string& time) const override;
    const char* protocolName() const override { return "nvme"; }
    std::vector<int32_t> attributePages() const override;
    size_t attributeCount() const override { return config_.attributes.size(); }

private:
    NvmeConfig config_;
};

}  // namespace zel
