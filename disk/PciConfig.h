#pragma once

#include <cstdint>
#include <functional>

#include "disk/DiskTypes.h"

namespace zel {

namespace pci {
constexpr uint16_t kConfigAddressPort = 0xCF8;
constexpr uint16_t kConfigDataPort = 0xCFC;
constexpr uint32_t kVendorDevice = 0x00;
constexpr uint32_t kStatusCommand = 0x04;
constexpr uint32_t kBar0 = 0x10;
constexpr uint32_t kBar1 = 0x14;
constexpr uint32_t kCapabilitiesPointer = 0x34;
constexpr uint32_t kStatusCapabilitiesList = 1u << 20;  // in the Status/Command dword
constexpr uint8_t kCapPowerManagement = 0x01;
constexpr uint8_t kCapPciExpress = 0x10;
constexpr uint32_t kPcieDeviceControl = 0x08;  // offset in the PCI Express capability
constexpr uint32_t kPcieLinkStatus = 0x12;
}  // namespace pci

// Reads one aligned dword of a function's configuration space.
using ConfigDwordReader = std::function<bool(uint32_t offset, uint32_t* value)>;

// The mechanism-1 address written to 0xCF8 for a configuration dword.
uint32_t pciConfigAddress(uint32_t bus, uint32_t device, uint32_t function, uint32_t offset);

// Offset of a capability in the list, 0 when absent or the list is broken.
uint32_t findCapability(const ConfigDwordReader& read, uint8_t capabilityId);

// Identity, BAR0, link status, payload size and capability offsets of one
// function. False when the function does not answer (vendor id 0xFFFF).
bool inspectPcieFunction(uint32_t bus, uint32_t device, uint32_t function, const ConfigDwordReader& read,
                         PcieInfo* info);

}  // namespace zel
