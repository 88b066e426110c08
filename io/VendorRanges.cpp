#include "io/VendorRanges.h"

#include <cstring>

namespace zel {

bool parseVendorRanges(const uint8_t* data, size_t size, std::vector<VendorRange>* ranges) {
    constexpr size_t kHeader = 8, kEntry = 16;
    uint32_t count = 0;
    if (size < kHeader) return false;
    std::memcpy(&count, data, 4);
    if (count > (size - kHeader) / kEntry) return false;
    ranges->clear();
    for (uint32_t i = 0; i < count; ++i) {
        const uint8_t* entry = data + kHeader + size_t{i} * kEntry;
        VendorRange range;
        uint32_t op = 0;
        std::memcpy(&range.lba, entry, 8);
        std::memcpy(&range.sectors, entry + 8, 4);
        std::memcpy(&op, entry + 12, 4);
        if (op != 1 && op != 2) return false;
        range.op = static_cast<VendorRange::Op>(op);
        ranges->push_back(range);
    }
    return true;
}

}  // namespace zel
