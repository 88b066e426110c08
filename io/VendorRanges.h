#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace zel {

class DiskBase;

// The ranges a drive asks the write-and-trim mode to write or trim, as its
// vendor admin command 0xC6 returns them: u32 count, u32 reserved, then
// count entries of {u64 start LBA, u32 sectors, u32 op (1 write, 2 trim)}.
struct VendorRange {
    enum class Op : uint32_t { Write = 1, Trim = 2 };
    uint64_t lba = 0;
    uint32_t sectors = 0;
    Op op = Op::Write;
};

constexpr uint8_t kVendorRangesOpcode = 0xC6;
constexpr uint32_t kVendorRangesBytes = 4096;

// False when the count passes the data or an entry has an unknown op.
bool parseVendorRanges(const uint8_t* data, size_t size, std::vector<VendorRange>* ranges);

// Sends the command to an NVMe disk and parses the answer; false with the
// last error (0x20000008 on other disks, 0x20000125 on a malformed answer).
bool readVendorRanges(DiskBase& disk, std::vector<VendorRange>* ranges);

}  // namespace zel
