#pragma once

#include <optional>

#include "disk/DiskBase.h"
#include "disk/DiskTypes.h"

namespace zel {

// An NVMe disk's own PCI function as read now through the port-I/O driver, at
// the location the device manager gives for the disk's controller. Register
// and configuration writes go only where this points: a PCIe view carried
// over from a loaded disk configuration may describe another controller.
// Empty for other disks, when the location is unknown, the driver is not loaded or the
// function does not answer.
std::optional<PcieInfo> readOwnPciFunction(const DiskBase& disk);

}  // namespace zel
