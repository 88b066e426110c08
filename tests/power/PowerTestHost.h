#pragma once

#include <memory>
#include <string>

#include "core/DeviceApi.h"
#include "core/ProcessSwitches.h"
#include "disk/DiskList.h"
#include "disk/PortIoDriver.h"
#include "vhost/VirtualHost.h"

namespace zeltest {

// A SATA disk (0), two NVMe disks on their own PCI functions (1 on bus 2,
// 2 on bus 3) and a USB stick (3).
inline std::string powerHost(const std::string& top = "") {
    return R"({)" + top + R"("disks": [
  {"number": 0, "busType": 11, "model": "Power SATA", "serial": "PS0", "sectorCount": 2048},
  {"number": 1, "busType": 17, "model": "Power NVMe A", "serial": "PN1", "sectorCount": 2048,
   "driver": {"provider": "Microsoft"}, "pci": {"vendorId": "0x1AB2", "deviceId": "0x0101", "bus": 2}},
  {"number": 2, "busType": 17, "model": "Power NVMe B", "serial": "PN2", "sectorCount": 2048,
   "driver": {"provider": "Microsoft"}, "pci": {"vendorId": "0x1AB2", "deviceId": "0x0102", "bus": 3}},
  {"number": 3, "busType": 7, "vendor": "Stick", "model": "USB DISK", "serial": "PU3", "sectorCount": 2048}
]})";
}

// The process-wide disk list and port-I/O driver as a fresh run has them,
// before and after each test.
inline void freshRun() {
    zel::DiskList::instance().reset();
    zel::DiskList::instance().useConfiguration({});
    zel::PortIoDriver::instance().closeAndRemove();
    zel::processSwitches().nvmeProtocol = 0;
}

// The disk of that number from a full build over the current seam.
inline zel::DiskBase* builtDisk(int number) {
    return zel::DiskList::instance().get(true).findDisk({number, "", "", ""});
}

}  // namespace zeltest
