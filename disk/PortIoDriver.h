#pragma once

#include <cstdint>
#include <mutex>

#include "core/Uncopyable.h"

namespace zel {

// The port-I/O driver as the disk layer uses it: loaded on first need,
// port accesses serialised, PCI configuration through 0xCF8/0xCFC.
class PortIoDriver : private Uncopyable {
public:
    static PortIoDriver& instance();

    // Loads the driver once; later calls answer from the first attempt.
    bool open();
    bool isOpen();
    // Closes the driver and removes its service (--close_winio).
    void closeAndRemove();

    bool readPort(uint16_t port, uint32_t* value, uint8_t size);
    bool writePort(uint16_t port, uint32_t value, uint8_t size);
    bool readPciConfig(uint32_t bus, uint32_t device, uint32_t function, uint32_t offset, uint32_t* value);
    bool writePciConfig(uint32_t bus, uint32_t device, uint32_t function, uint32_t offset, uint32_t value);
    bool readPhysicalDword(uint64_t address, uint32_t* value);
    bool writePhysicalDword(uint64_t address, uint32_t value);

    // CMOS/RTC registers behind index port 0x70 and data port 0x71. A data
    // write follows its index write only when that one went through, after
    // the CMOS delay that slow RTC parts need between the two.
    bool readCmos(uint8_t index, uint8_t* value);
    bool writeCmos(uint8_t index, uint8_t value);
    uint32_t cmosDelayMs() const { return cmosDelayMs_; }
    void setCmosDelayMs(uint32_t milliseconds) { cmosDelayMs_ = milliseconds; }

private:
    PortIoDriver() = default;

    std::mutex portLock_;
    bool tried_ = false;
    uint32_t cmosDelayMs_ = 1;
};

}  // namespace zel
