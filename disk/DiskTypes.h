#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "protocol/ProtocolCode.h"

namespace zel {

// Disk kind codes as scripts see them ("disk_type", "Disk type: %d").
namespace diskkind {
constexpr int kPlain = 0;
constexpr int kSata = 1;
constexpr int kNvme = 2;
constexpr int kUsb = 3;
constexpr int kSataPowerSwitch = 17;
constexpr int kPciePowerSwitch = 20;
constexpr int kJMicronNvme = 22;
}  // namespace diskkind

// Windows STORAGE_BUS_TYPE values the classification looks at.
namespace bustype {
constexpr uint32_t kAta = 3;
constexpr uint32_t kUsb = 7;
constexpr uint32_t kRaid = 8;
constexpr uint32_t kSata = 11;
constexpr uint32_t kNvme = 17;
}  // namespace bustype

// Probing stops below this disk number.
constexpr int kMaxDiskNumber = 56;

struct DriveLetter {
    char letter = 0;
    uint64_t totalBytes = 0;
    uint64_t freeBytes = 0;
};

// What the list build learns about one physical disk.
struct DiskIdentity {
    int number = -1;
    std::string vendor, model, firmware, serial;
    uint32_t busType = 0;
    uint32_t logicalSectorSize = 512;
    uint32_t physicalSectorSize = 512;
    uint64_t capacity = 0;
    uint64_t sectorCount = 0;
    std::vector<DriveLetter> letters;
    std::string providerName, driverVersion, infPath, instanceId;
    // PCI location of the disk's controller when the device manager knows it.
    uint32_t pciBus = 0xFFFFFFFF, pciDevice = 0xFFFFFFFF, pciFunction = 0xFFFFFFFF;
    int kind = diskkind::kPlain;
    ProtocolCode protocolCode = ProtocolCode::kNone;
};

// The PCIe view of an NVMe controller, read through the port-I/O driver or
// carried over from a loaded disk configuration.
struct PcieInfo {
    uint32_t bus = 0, device = 0, function = 0;
    uint32_t vendorId = 0, deviceId = 0;
    std::string hardwareId;
    uint64_t bar0 = 0;
    uint32_t linkSpeed = 0, linkWidth = 0;
    uint32_t maxPayloadSize = 0;
    uint32_t pcieCapOffset = 0, pmCapOffset = 0;

    std::string linkSpeedText() const;  // "Gen%d"
    std::string linkText() const;       // "Gen%dx%d"
    std::string maxPayloadText() const; // "%uB"
};

}  // namespace zel
