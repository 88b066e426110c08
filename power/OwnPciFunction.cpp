#include "power/OwnPciFunction.h"

#include "disk/PciConfig.h"
#include "disk/PortIoDriver.h"

namespace zel {

std::optional<PcieInfo> readOwnPciFunction(const DiskBase& disk) {
    // A SATA or USB disk's location is its host controller's, shared with
    // other disks.
    if (disk.diskKind() != diskkind::kNvme) return std::nullopt;
    const DiskIdentity& id = disk.identity();
    if (id.pciBus == 0xFFFFFFFF || id.pciDevice == 0xFFFFFFFF || id.pciFunction == 0xFFFFFFFF) return std::nullopt;
    PortIoDriver& driver = PortIoDriver::instance();
    if (!driver.open()) return std::nullopt;
    auto read = [&](uint32_t offset, uint32_t* value) {
        return driver.readPciConfig(id.pciBus, id.pciDevice, id.pciFunction, offset, value);
    };
    PcieInfo info;
    if (!inspectPcieFunction(id.pciBus, id.pciDevice, id.pciFunction, read, &info)) return std::nullopt;
    return info;
}

}  // namespace zel
