#include "disk/PciConfig.h"

#include "core/TextFormat.h"

namespace zel {
namespace {

uint8_t byteAt(const ConfigDwordReader& read, uint32_t offset, bool* ok) {
    uint32_t dword = 0;
    *ok = *ok && read(offset & ~3u, &dword);
    return static_cast<uint8_t>(dword >> (8 * (offset & 3)));
}

uint16_t wordAt(const ConfigDwordReader& read, uint32_t offset, bool* ok) {
    uint32_t dword = 0;
    *ok = *ok && read(offset & ~3u, &dword);
    return static_cast<uint16_t>(dword >> (8 * (offset & 2)));
}

uint64_t readBar0(const ConfigDwordReader& read) {
    uint32_t low = 0, high = 0;
    if (!read(pci::kBar0, &low)) return 0;
    const bool memory64 = (low & 0x1) == 0 && ((low >> 1) & 0x3) == 0x2;
    if (memory64 && !read(pci::kBar1, &high)) high = 0;
    const uint64_t base = (low & 0x1) ? (low & ~0x3u) : (low & ~0xFu);
    return memory64 ? (uint64_t(high) << 32 | base) : base;
}

}  // namespace

std::string PcieInfo::linkSpeedText() const { return formatText("Gen%d", static_cast<int>(linkSpeed)); }
std::string PcieInfo::linkText() const {
    return formatText("Gen%dx%d", static_cast<int>(linkSpeed), static_cast<int>(linkWidth));
}
std::string PcieInfo::maxPayloadText() const { return formatText("%uB", maxPayloadSize); }

uint32_t pciConfigAddress(uint32_t bus, uint32_t device, uint32_t function, uint32_t offset) {
    return 0x80000000u | (bus & 0xFF) << 16 | (device & 0x1F) << 11 | (function & 0x7) << 8 | (offset & 0xFC);
}

uint32_t findCapability(const ConfigDwordReader& read, uint8_t capabilityId) {
    uint32_t statusCommand = 0;
    if (!read(pci::kStatusCommand, &statusCommand) || !(statusCommand & pci::kStatusCapabilitiesList)) return 0;
    bool ok = true;
    uint32_t offset = byteAt(read, pci::kCapabilitiesPointer, &ok) & 0xFC;
    // 48 entries fit into the 192 bytes after the header; more means a loop.
    for (int hops = 0; ok && offset >= 0x40 && hops < 48; ++hops) {
        const uint16_t header = wordAt(read, offset, &ok);
        if (!ok) break;
        if ((header & 0xFF) == capabilityId) return offset;
        offset = (header >> 8) & 0xFC;
    }
    return 0;
}

bool inspectPcieFunction(uint32_t bus, uint32_t device, uint32_t function, const ConfigDwordReader& read,
                         PcieInfo* info) {
    uint32_t ids = 0;
    if (!read(pci::kVendorDevice, &ids) || (ids & 0xFFFF) == 0xFFFF) return false;
    PcieInfo result;
    result.bus = bus;
    result.device = device;
    result.function = function;
    result.vendorId = ids & 0xFFFF;
    result.deviceId = ids >> 16;
    result.hardwareId = formatText("PCI\\VEN_%04X&DEV_%04X", result.vendorId, result.deviceId);
    result.bar0 = readBar0(read);
    result.pmCapOffset = findCapability(read, pci::kCapPowerManagement);
    result.pcieCapOffset = findCapability(read, pci::kCapPciExpress);
    if (result.pcieCapOffset) {
        bool ok = true;
        const uint16_t linkStatus = wordAt(read, result.pcieCapOffset + pci::kPcieLinkStatus, &ok);
        const uint16_t deviceControl = wordAt(read, result.pcieCapOffset + pci::kPcieDeviceControl, &ok);
        if (ok) {
            result.linkSpeed = linkStatus & 0xF;
            result.linkWidth = (linkStatus >> 4) & 0x3F;
            result.maxPayloadSize = 128u << ((deviceControl >> 5) & 0x7);
        }
    }
    *info = result;
    return true;
}

}  // namespace zel
