#include "disk/PortIoDriver.h"

#include <chrono>
#include <thread>

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

namespace {
constexpr uint16_t kCmosIndexPort = 0x70;
constexpr uint16_t kCmosDataPort = 0x71;
}  // namespace

bool PortIoDriver::readCmos(uint8_t index, uint8_t* value) {
    std::lock_guard<std::mutex> guard(portLock_);
    uint32_t data = 0;
    if (!deviceApi().writePort(kCmosIndexPort, index, 1) || !deviceApi().readPort(kCmosDataPort, &data, 1))
        return false;
    *value = static_cast<uint8_t>(data);
    return true;
}

bool PortIoDriver::writeCmos(uint8_t index, uint8_t value) {
    std::lock_guard<std::mutex> guard(portLock_);
    if (!deviceApi().writePort(kCmosIndexPort, index, 1)) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(cmosDelayMs_));
    return deviceApi().writePort(kCmosDataPort, value, 1);
}

bool PortIoDriver::readPhysicalDword(uint64_t address, uint32_t* value) {
    return deviceApi().readPhysicalDword(address, value);
}

bool PortIoDriver::writePhysicalDword(uint64_t address, uint32_t value) {
    return deviceApi().writePhysicalDword(address, value);
}

}  // namespace zel
