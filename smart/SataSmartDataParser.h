#pragma once

#include "smart/SmartDataParser.h"

namespace zel {

// SATA (and ATA behind USB bridges): the 512-byte SMART data sector.
class SataSmartDataParser : public SmartDataParser {
public:
    bool parseConfig(const std::string& path) override;
    SmartPagePlan planPages(const std::vector<uint32_t>& logIds, const std::vector<uint32_t>& sizes) const override;
    bool parseData(const uint8_t* data, size_t size, int32_t logPageId, SmartReading* reading) const override;
    // Set by "skip_2cf4": the SMART RETURN STATUS signature is not checked.
    bool skipThresholdStatus() const override { return config_.skip2cf4; }

private:
    SataConfig config_;
};

}  // namespace zel
