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

std::vector<uint8_t> nvmeIdentifyController(const DiskDescription& disk);
std::vector<uint8_t> nvmeIdentifyNamespace(const DiskDescription& disk);
// Log page contents from offset 0; longer than asked for is cut by the caller.
std::vector<uint8_t> nvmeLogPage(const DiskDescription& disk, const DiskCounters& counters, uint8_t logId,
                                 int64_t now);

}  // namespace vhost
}  // namespace zel
