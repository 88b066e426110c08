#include "disk/PortIoDriver.h"

#include "core/DeviceApi.h"
#include "core/ErrorCodes.h"
#include "disk/PciConfig.h"

namespace zel {

PortIoDriver& PortIoDriver::instance() {
    static PortIoDriver driver;
    return driver;
}

bool PortIoDriver::open() {
    if (deviceApi().portIoIsOpen()) return true;
    if (tried_) {
        setLastError(err::kWinIoInit);
        return false;
    }
    tried_ = true;
    if (deviceApi().portIoOpen()) return true;
    setLastError(err::kWinIoInit);
    return false;
}

bool PortIoDriver::isOpen() { return deviceApi().portIoIsOpen(); }

void PortIoDriver::closeAndRemove() {
    std::lock_guard<std::mutex> guard(portLock_);
    deviceApi().portIoClose(true);
    tried_ = false;
}

bool PortIoDriver::readPort(uint16_t port, uint32_t* value, uint8_t size) {
    std::lock_guard<std::mutex> guard(portLock_);
    return deviceApi().readPort(port, value, size);
}

bool PortIoDriver::writePort(uint16_t port, uint32_t value, uint8_t size) {
    std::lock_guard<std::mutex> guard(portLock_);
    return deviceApi().writePort(port, value, size);
}

// Address and data must not be interleaved with another thread's access.
bool PortIoDriver::readPciConfig(uint32_t bus, uint32_t device, uint32_t function, uint32_t offset,
                                 uint32_t* value) {
    std::lock_guard<std::mutex> guard(portLock_);
    return deviceApi().writePort(pci::kConfigAddressPort, pciConfigAddress(bus, device, function, offset), 4) &&
           deviceApi().readPort(pci::kConfigDataPort, value, 4);
}

bool PortIoDriver::writePciConfig(uint32_t bus, uint32_t device, uint32_t function, uint32_t offset,
                                  uint32_t value) {
    std::lock_guard<std::mutex> guard(portLock_);
    return deviceApi().writePort(pci::kConfigAddressPort, pciConfigAddress(bus, device, function, offset), 4) &&
           deviceApi().writePort(pci::kConfigDataPort, value, 4);
}

bool PortIoDriver::readPhysicalDword(uint64_t address, uint32_t* value) {
    return deviceApi().readPhysicalDword(address, value);
}

bool PortIoDriver::writePhysicalDword(uint64_t address, uint32_t value) {
    return deviceApi().writePhysicalDword(address, value);
}

}  // namespace zel
