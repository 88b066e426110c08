#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace zel {

// Caller-owned command records handed to IProtocol::sendCommand; the route
// reads them and writes status and completion back into them.

namespace ataflags {
constexpr uint16_t kDrdyRequired = 0x01;
constexpr uint16_t kDataIn = 0x02;
constexpr uint16_t kDataOut = 0x04;
constexpr uint16_t k48Bit = 0x08;
constexpr uint16_t kDma = 0x10;
}  // namespace ataflags

#pragma pack(push, 1)
struct AtaCommand {
    uint16_t feature = 0;  // after the command: ERROR register in the low byte
    // count and lba: after the command, the returned registers (ATA port route)
    uint16_t count = 0;
    uint64_t lba = 0;
    uint8_t device = 0;
    uint8_t command = 0;  // after the command: STATUS register
    uint16_t flags = 0;
    uint32_t timeout = 0;
};

namespace scsidir {
constexpr uint8_t kOut = 0;
constexpr uint8_t kIn = 1;
constexpr uint8_t kUnspecified = 2;
}  // namespace scsidir

struct ScsiCommand {
    uint8_t cdbLength = 0;
    uint8_t cdb[16] = {};
    uint8_t direction = 0;
    uint32_t timeout = 0;
    uint8_t scsiStatus = 0;
};

namespace nvmedir {
constexpr uint8_t kNone = 0;
constexpr uint8_t kToDevice = 1;
constexpr uint8_t kFromDevice = 2;
}  // namespace nvmedir

struct NvmeCommand {
    uint8_t direction = 0;
    uint32_t timeout = 0;
    uint8_t command[64] = {};     // submission entry: 16 dwords
    uint8_t completion[16] = {};  // completion entry: 4 dwords
    uint8_t admin = 1;
    uint32_t diskNumber = 0;

    uint8_t opcode() const { return command[0]; }
    uint32_t dword(unsigned index) const { return load<uint32_t>(command + 4 * index); }
    void setDword(unsigned index, uint32_t value) { store(command + 4 * index, value); }
    uint32_t nsid() const { return dword(1); }
    uint32_t completionDword(unsigned index) const { return load<uint32_t>(completion + 4 * index); }
    void setCompletionDword(unsigned index, uint32_t value) { store(completion + 4 * index, value); }
    // Phase bit 0, status code bits 8..1, status code type above.
    uint16_t status() const { return load<uint16_t>(completion + 14); }
    void setStatus(uint16_t value) { store(completion + 14, value); }

private:
    // The entries are little endian, as the host is.
    template <typename T>
    static T load(const uint8_t* at) {
        T value;
        std::memcpy(&value, at, sizeof value);
        return value;
    }
    template <typename T>
    static void store(uint8_t* at, T value) { std::memcpy(at, &value, sizeof value); }
};
#pragma pack(pop)

static_assert(sizeof(AtaCommand) == 20);
static_assert(offsetof(AtaCommand, lba) == 4 && offsetof(AtaCommand, device) == 12);
static_assert(offsetof(AtaCommand, command) == 13 && offsetof(AtaCommand, flags) == 14);
static_assert(offsetof(AtaCommand, timeout) == 16);
static_assert(sizeof(ScsiCommand) == 23);
static_assert(offsetof(ScsiCommand, direction) == 17 && offsetof(ScsiCommand, timeout) == 18);
static_assert(offsetof(ScsiCommand, scsiStatus) == 22);
static_assert(sizeof(NvmeCommand) == 90);
static_assert(offsetof(NvmeCommand, command) == 5 && offsetof(NvmeCommand, completion) == 69);
static_assert(offsetof(NvmeCommand, admin) == 85 && offsetof(NvmeCommand, diskNumber) == 86);

}  // namespace zel
