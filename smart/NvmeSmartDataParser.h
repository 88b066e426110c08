#pragma once

#include "smart/SmartDataParser.h"

namespace zel {

// NVMe: byte ranges of the log pages the configuration's sections name.
class NvmeSmartDataParser : public SmartDataParser {
public:
    bool parseConfig(const std::string& path) override;
    SmartPagePlan planPages(const std::vector<uint32_t>& logIds, const std::vector<uint32_t>& sizes) const override;
    bool parseData(const uint8_t* data, size_t size, int32_t logPageId, SmartReading* reading) const override;

private:
    NvmeConfig config_;
};

}  // namespace zel
