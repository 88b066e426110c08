#pragma once

#include <cstddef>
#include <cstdint>

#include "protocol/CommandRecords.h"

namespace zel {

// The NVMe tunnel of the JMicron USB bridge (JMS583 class): every phase of
// an NVMe command is one 12-byte vendor CDB A1h (the ATA PASS-THROUGH (12)
// opcode): the command block goes out, the data moves, the response block
// comes back.

constexpr uint32_t kJMicronSignature = 0x454D564E;  // "NVME" as a little-endian dword
constexpr uint32_t kJMicronBlockSize = 512;
// What one command moves: a whole Identify fits; longer log pages are read
// in pieces by the caller.
constexpr uint32_t kJMicronMaxTransfer = 4096;

// CDB byte 1: bit 7 admin queue, bits 3..0 the phase.
enum class JMicronPhase : uint8_t {
    kCommand = 0x0,
    kNonData = 0x1,
    kDataIn = 0x2,
    kDataOut = 0x3,
    kResponse = 0xF,
};

#pragma pack(push, 1)
struct JMicronCommandBlock {
    uint32_t signature;
    uint32_t reserved0;
    uint8_t submission[64];
    uint8_t reserved1[kJMicronBlockSize - 72];
};

struct JMicronResponseBlock {
    uint32_t signature;
    uint32_t reserved0;
    uint8_t completion[16];
    uint8_t reserved1[kJMicronBlockSize - 24];
};
#pragma pack(pop)

static_assert(sizeof(JMicronCommandBlock) == kJMicronBlockSize);
static_assert(offsetof(JMicronCommandBlock, submission) == 8 && offsetof(JMicronCommandBlock, reserved1) == 72);
static_assert(sizeof(JMicronResponseBlock) == kJMicronBlockSize);
static_assert(offsetof(JMicronResponseBlock, completion) == 8 && offsetof(JMicronResponseBlock, reserved1) == 24);

// CDB A1h for one phase; the length (bytes 3..5, big-endian) is what the
// phase moves.
ScsiCommand buildJMicronCdb(JMicronPhase phase, bool admin, uint32_t length);

// The phase that moves the command's data.
JMicronPhase jmicronDataPhase(const NvmeCommand& command, uint32_t dataSize);

JMicronCommandBlock buildJMicronCommandBlock(const NvmeCommand& command);

// Copies the completion into the record; false when the block does not
// carry the signature.
bool takeJMicronResponse(const JMicronResponseBlock& block, NvmeCommand* command);

}  // namespace zel
