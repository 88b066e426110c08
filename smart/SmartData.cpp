#include "smart/SmartData.h"

#include <algorithm>

namespace zel {

namespace {

constexpr size_t kEntrySize = 12;
constexpr size_t kRawOffset = 5;    // raw value, then the reserved byte
constexpr size_t kEntryBytes = 7;   // raw value and reserved byte
constexpr size_t kMainTable = 2;
constexpr size_t kMainEntries = 30;
constexpr size_t kSecondTable = 386;
constexpr size_t kSecondEntries = 10;

void fillTable(const SataConfig& config, const uint8_t* table, size_t entries, SmartReading* reading) {
    for (size_t e = 0; e < entries; ++e) {
        const uint8_t* entry = table + e * kEntrySize;
        if (entry[0] == 0) continue;
        for (size_t a = 0; a < config.attributes.size(); ++a) {
            const SataSelector& s = config.attributes[a].slice;
            if (s.id != entry[0]) continue;
            const size_t first = std::min<size_t>(s.first, kEntryBytes);
            const size_t end = std::min<size_t>(std::max(s.end, s.first), kEntryBytes);
            (*reading)[a].assign(entry + kRawOffset + first, entry + kRawOffset + end);
        }
    }
}

}  // namespace

bool parseSataData(const SataConfig& config, const uint8_t* data, size_t size, SmartReading* reading) {
    reading->assign(config.attributes.size(), SmartBytes{});
    if (data == nullptr || size < kSataSmartSectorSize) return false;
    fillTable(config, data + kMainTable, kMainEntries, reading);
    fillTable(config, data + kSecondTable, kSecondEntries, reading);
    return true;
}

bool parseNvmeData(const NvmeConfig& config, int32_t logPageId, const uint8_t* data, size_t size,
                   SmartReading* reading) {
    if (reading->size() != config.attributes.size()) reading->assign(config.attributes.size(), SmartBytes{});
    const auto& pages = config.logPages;
    const auto page = std::find_if(pages.begin(), pages.end(),
                                   [&](const LogPageConfig& p) { return p.logPageId == logPageId; });
    if (page == pages.end()) return true;
    const auto next = page + 1;
    const size_t last = next == pages.end() ? config.attributes.size() : next->firstAttribute;
    bool complete = true;
    for (size_t a = page->firstAttribute; a < last && a < config.attributes.size(); ++a) {
        const NvmeSelector& r = config.attributes[a].range;
        if (data == nullptr || r.end > size || r.end <= r.low) {
            (*reading)[a].clear();
            complete = false;
            continue;
        }
        (*reading)[a].assign(data + r.low, data + r.end);
    }
    return complete;
}

bool pageFromBin(const std::vector<uint8_t>& fileBytes, size_t size, std::vector<uint8_t>* data) {
    if (fileBytes.size() < size) return false;
    data->assign(fileBytes.begin(), fileBytes.begin() + static_cast<std::ptrdiff_t>(size));
    return true;
}

}  // namespace zel
