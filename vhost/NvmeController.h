#pragma once

#include <cstdint>

namespace zel {
namespace vhost {

class VirtualDisk;

// A completion entry: dword 0 command specific, dword 2 SQ head/id, dword 3
// command id plus the status half-word (phase bit 0, code bits 8..1, code
// type bits 11..9).
struct NvmeCompletion {
    uint32_t dword0 = 0;
    uint32_t dword1 = 0;
    uint32_t dword2 = 0;
    uint32_t dword3 = 0;

    uint16_t statusField() const { return static_cast<uint16_t>((dword3 >> 17) & 0x7FFF); }
    void setStatusField(uint16_t status) { dword3 = (dword3 & 0x0001FFFF) | (static_cast<uint32_t>(status) << 17); }
};

namespace nvmestatus {
constexpr uint16_t kSuccess = 0x0000;
constexpr uint16_t kInvalidOpcode = 0x0001;
constexpr uint16_t kInvalidField = 0x0002;
constexpr uint16_t kInvalidNamespace = 0x000B;
constexpr uint16_t kLbaOutOfRange = 0x0080;
constexpr uint16_t kInvalidLogPage = 0x0109;
constexpr uint16_t kWriteFault = 0x0280;
constexpr uint16_t kUnrecoveredRead = 0x0281;
}  // namespace nvmestatus

// An NVMe controller with one namespace: Identify, Get Log Page, Get
// Features, vendor opcodes from the description (with the write-and-trim
// list, 0xC6), and Read/Write/Flush/Dataset Management on the I/O queue.
class NvmeController {
public:
    explicit NvmeController(VirtualDisk& disk) : disk_(disk) {}

    // `size` bytes of transfer buffer; returns the bytes moved.
    uint32_t execute(const uint8_t* submission, bool admin, uint8_t* data, uint32_t size, NvmeCompletion* completion);

    const uint8_t* lastCommand() const { return last_; }
    bool lastWasAdmin() const { return lastAdmin_; }
    unsigned commandCount() const { return commands_; }

private:
    uint32_t admin(const uint8_t* sqe, uint8_t* data, uint32_t size, NvmeCompletion* completion);
    uint32_t io(const uint8_t* sqe, uint8_t* data, uint32_t size, NvmeCompletion* completion);
    uint32_t getLogPage(const uint8_t* sqe, uint8_t* data, uint32_t size, NvmeCompletion* completion);
    uint32_t getFeatures(const uint8_t* sqe, NvmeCompletion* completion);
    uint32_t readWrite(const uint8_t* sqe, uint8_t* data, uint32_t size, NvmeCompletion* completion);
    uint32_t deallocate(const uint8_t* sqe, const uint8_t* data, uint32_t size, NvmeCompletion* completion);
    uint32_t vendor(const uint8_t* sqe, uint8_t* data, uint32_t size, NvmeCompletion* completion);
    uint32_t writeTrimRanges(const uint8_t* sqe, uint8_t* data, uint32_t size, NvmeCompletion* completion);

    VirtualDisk& disk_;
    uint8_t last_[64] = {};
    bool lastAdmin_ = true;
    unsigned commands_ = 0;
};

}  // namespace vhost
}  // namespace zel
