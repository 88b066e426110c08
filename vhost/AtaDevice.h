#pragma once

#include <cstdint>

namespace zel {
namespace vhost {

class VirtualDisk;

// The registers of one ATA command as the device saw them, and the
// registers it returned.
struct AtaTaskFile {
    uint16_t feature = 0;
    uint16_t count = 0;
    uint64_t lba = 0;
    uint8_t device = 0;
    uint8_t command = 0;
    bool ext = false;
    // out
    uint8_t status = 0;
    uint8_t error = 0;
};

namespace atastatus {
constexpr uint8_t kErr = 0x01;
constexpr uint8_t kDrq = 0x08;
constexpr uint8_t kDsc = 0x10;
constexpr uint8_t kDeviceFault = 0x20;
constexpr uint8_t kDrdy = 0x40;
constexpr uint8_t kGood = kDrdy | kDsc;
constexpr uint8_t kAbort = 0x04;
constexpr uint8_t kUnc = 0x40;
constexpr uint8_t kIcrc = 0x80;
}  // namespace atastatus

// A SATA SSD: IDENTIFY, SMART, reads, writes (WRITE DMA FUA EXT too), flush,
// STANDBY IMMEDIATE and TRIM.
class AtaDevice {
public:
    explicit AtaDevice(VirtualDisk& disk) : disk_(disk) {}

    // Runs one command with `size` bytes of transfer buffer; leaves STATUS,
    // ERROR and output registers in the task file. Returns bytes moved.
    uint32_t execute(AtaTaskFile& taskFile, uint8_t* data, uint32_t size);

    const AtaTaskFile& lastCommand() const { return last_; }
    unsigned commandCount() const { return commands_; }

private:
    uint32_t smart(AtaTaskFile& taskFile, uint8_t* data, uint32_t size);
    uint32_t readWrite(AtaTaskFile& taskFile, uint8_t* data, uint32_t size, bool write);
    uint32_t trim(AtaTaskFile& taskFile, const uint8_t* data, uint32_t size);
    uint32_t fail(AtaTaskFile& taskFile, uint8_t status, uint8_t error);

    VirtualDisk& disk_;
    AtaTaskFile last_;
    unsigned commands_ = 0;
};

}  // namespace vhost
}  // namespace zel
