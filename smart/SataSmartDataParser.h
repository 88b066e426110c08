#pragma once

#include "smart/SmartDataParser.h"

namespace zel {

// SATA (and ATA behind USB bridges): the 512-byte SMART data sector.
class SataSmartDataParser : public SmartDataParser {
public:
    bool parseConfig(const std::string& path) override;
    SmartPagePlan planPages(const std::vector<uint32_t>& logIds, const std::vector<uint32_t>& sizes) const override;
    bool parseData(const uint8_t* data, size_t size, int32_t logPageId, SmartReading* reading) const override;
    SmartComparison compare(const SmartReadings& readings, uint64_t nowMs, size_t width) const override;
    // Section "smart": attribute id = value of its slice.
    void writeIni(const SmartReading& current, IniFile& ini) const override;
    std::vector<std::string> csvHeading() const override;
    std::vector<std::string> csvRow(const SmartReading& reading, const std::string& time) const override;
    const char* protocolName() const override { return "ata"; }
    std::vector<int32_t> attributePages() const override;
    size_t attributeCount() const override { return config_.attributes.size(); }

    // Set by "skip_2cf4": the SMART RETURN STATUS signature is not checked.
    bool skipThresholdStatus() const override { return config_.skip2cf4; }

private:
    SataConfig config_;
};

}  // namespace zel
