#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "smart/SmartSyntax.h"

namespace zel {

// A SMART configuration value by section and key; nothing when the key is
// absent. The product reads through the private-profile calls, tests and
// fuzzers through IniText.
using IniLookup = std::function<std::optional<std::string>(const std::string& section, const std::string& key)>;

// Values are read into a 256-character buffer: longer ones are cut.
constexpr size_t kSmartValueMax = 255;

// One configured attribute (the keys attr_*_N of its section).
struct AttrConfig {
    int32_t index = 0;  // N
    std::string description;
    std::string limit;
    bool isString = false;
    std::vector<uint8_t> specialCodes{kSpecialNone};  // the first one applies to the limit

    uint8_t firstCode() const { return specialCodes.front(); }
};

struct SataAttrConfig : AttrConfig {
    SataSelector slice;
};

struct NvmeAttrConfig : AttrConfig {
    NvmeSelector range;
    int32_t logPageId = 0;
};

// One "nvme" section: its log page and where its attributes start in the list.
struct LogPageConfig {
    size_t firstAttribute = 0;
    int32_t logPageId = 0;
    uint16_t size = 0;
    uint16_t offset = 0;
};

struct SataConfig {
    int32_t numberBase = 10;
    bool skip2cf4 = false;
    bool includeReservedByte = false;
    std::vector<SataAttrConfig> attributes;  // sections in order, then N
};

struct NvmeConfig {
    int32_t numberBase = 10;
    std::vector<LogPageConfig> logPages;
    std::vector<NvmeAttrConfig> attributes;
};

// The SMART configuration for one protocol. false, with a WARNING line and
// kSmartParse as the last error, when a listed section is for the other
// protocol ("Assigned section is not for SATA"/"... NVMe"; checked for every
// section first, so no attribute is read) or has no attr_amount
// ("attr_amount is not found"; the sections before it keep their
// attributes, and their log pages, which are still checked).
bool parseSataConfig(const IniLookup& ini, SataConfig* config);
bool parseNvmeConfig(const IniLookup& ini, NvmeConfig* config);

}  // namespace zel
