#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "vhost/HostDescription.h"
#include "vhost/HostState.h"

namespace zel {
namespace vhost {

// Data structures the emulated devices return, generated from the identity
// fields and the counters unless the description gives them.

std::array<uint16_t, 256> ataIdentifyWords(const DiskDescription& disk);
std::vector<uint8_t> ataSmartData(const DiskDescription& disk, const DiskCounters& counters, int64_t now);
std::vector<uint8_t> ataSmartThresholds(const DiskDescription& disk);
// True when an attribute's current value is at or below its threshold.
bool ataSmartThresholdExceeded(const DiskDescription& disk);

// What a trimmed sector reads as on a disk that is deterministic without
// reading zeros: this byte throughout, which NVMe can report (DLFEAT 2).
constexpr uint8_t kTrimPatternByte = 0xFF;

std::vector<uint8_t> nvmeIdentifyController(const DiskDescription& disk);
std::vector<uint8_t> nvmeIdentifyNamespace(const DiskDescription& disk);
// The answer to the write-and-trim vendor command (0xC6): count, reserved,
// then {u64 lba, u32 sectors, u32 op} per range, 4096 bytes.
std::vector<uint8_t> nvmeWriteTrimRanges(const DiskDescription& disk);
// Log page contents from offset 0; longer than asked for is cut by the caller.
std::vector<uint8_t> nvmeLogPage(const DiskDescription& disk, const DiskCounters& counters, uint8_t logId,
                                 int64_t now);

}  // namespace vhost
}  // namespace zel
