#pragma once

#include <string>

namespace zeltest {

// One small disk per route, for tests: 0 SATA, 1 NVMe under the inbox
// driver, 2 NVMe under RST, 3 NVMe under a vendor miniport, 4 USB disk
// behind a SAT bridge, 5 USB stick without one.
inline std::string routeHost(const std::string& extraDiskFields = "", int extraOnDisk = -1) {
    auto extra = [&](int disk) { return disk == extraOnDisk ? "," + extraDiskFields : std::string(); };
    return R"({"disks": [
  {"number": 0, "busType": 11, "model": "Test SATA SSD", "firmware": "FW01", "serial": "SATA0001",
   "driver": {"provider": "Microsoft", "version": "10.0.1"}, "sectorCount": 131072,
   "scsiAddress": {"port": 0},
   "smartAttributes": [{"id": 5, "current": 100, "threshold": 10, "raw": 7},
                       {"id": 12, "rawFrom": "powerCycles"}])" + extra(0) + R"(},
  {"number": 1, "busType": 17, "vendor": "NVMe", "model": "Test NVMe Inbox", "firmware": "NV01",
   "serial": "NVME0001", "driver": {"provider": "Microsoft"}, "sectorCount": 131072,
   "scsiAddress": {"port": 1}, "pci": {"vendorId": "0x1AB2", "deviceId": "0x0101"},
   "vendorAnswers": [{"opcode": "0xC2", "dword0": "0x12345678", "data": "DE AD BE EF 01 02"}])" + extra(1) + R"(},
  {"number": 2, "busType": 8, "model": "Test NVMe RST", "firmware": "NV02", "serial": "NVME0002",
   "driver": {"provider": "Intel Corporation"}, "sectorCount": 131072,
   "scsiAddress": {"port": 2, "path": 1, "target": 0}, "pci": {"vendorId": "0x1AB2"})" + extra(2) + R"(},
  {"number": 3, "busType": 17, "model": "Test NVMe Mini", "firmware": "NV03", "serial": "NVME0003",
   "driver": {"provider": "Other Vendor"}, "sectorCount": 131072, "scsiAddress": {"port": 3},
   "pci": {"vendorId": "0x1AB2"})" + extra(3) + R"(},
  {"number": 4, "busType": 7, "vendor": "Bridge", "model": "SATA Enclosure", "firmware": "0101",
   "serial": "USB0004", "satBridge": true, "sectorCount": 131072, "scsiAddress": {"port": 4})" + extra(4) + R"(},
  {"number": 5, "busType": 7, "vendor": "Stick", "model": "USB DISK", "firmware": "1.00",
   "serial": "USB0005", "sectorCount": 65536, "scsiAddress": {"port": 5})" + extra(5) + R"(}
]})";
}

}  // namespace zeltest
