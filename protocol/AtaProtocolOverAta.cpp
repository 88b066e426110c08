#include "protocol/AtaProtocolOverAta.h"

#include "core/DeviceApi.h"
#include "core/ErrorCodes.h"
#include "core/Logger.h"
#include "protocol/PassThroughBuilders.h"

namespace zel {
namespace {

constexpr uint32_t kDefaultTimeoutSeconds = 8;

void logAtaSendLine(const AtaCommand& command, uint32_t dataSize) {
    if (command.flags & ataflags::k48Bit)
        logSendLine("[AtaProtocolOverAta] Send command: FEATURE=0x%04X, COUNT=0x%04X, LBA=0x%012llX, "
                    "DEVICE=0x%02X, COMMAND=0x%02X, dataSize=%d",
                    command.feature, command.count, static_cast<unsigned long long>(command.lba), command.device,
                    command.command, static_cast<int>(dataSize));
    else
        logSendLine("[AtaProtocolOverAta] Send command: FEATURE=0x%02X, COUNT=0x%02X, LBA=0x%06llX, "
                    "DEVICE=0x%02X, COMMAND=0x%02X, dataSize=%d",
                    command.feature, command.count, static_cast<unsigned long long>(command.lba), command.device,
                    command.command, static_cast<int>(dataSize));
}

// ERROR and STATUS, and the LBA and count registers: some answers, such as
// SMART RETURN STATUS, are in the LBA registers rather than in data.
void copyBackRegisters(const AtaPassThroughDirect64& block, AtaCommand* command) {
    const uint8_t* current = block.CurrentTaskFile;
    const uint8_t* previous = block.PreviousTaskFile;
    command->feature = (command->feature & 0xFF00) | current[0];
    command->command = current[6];
    uint64_t lba = uint64_t(current[2]) | uint64_t(current[3]) << 8 | uint64_t(current[4]) << 16;
    uint16_t count = current[1];
    if (command->flags & ataflags::k48Bit) {
        lba |= uint64_t(previous[2]) << 24 | uint64_t(previous[3]) << 32 | uint64_t(previous[4]) << 40;
        count |= uint16_t(previous[1] << 8);
    } else {
        lba |= command->lba & ~0xFFFFFFull;
    }
    command->lba = lba;
    command->count = count;
}

}  // namespace

bool AtaProtocolOverAta::sendCommand(HANDLE handle, uint8_t* buffer, uint32_t dataSize, void* record) {
    return sendCommand(handle, buffer, dataSize, *static_cast<AtaCommand*>(record), nullptr);
}

bool AtaProtocolOverAta::sendCommand(HANDLE handle, uint8_t* buffer, uint32_t dataSize, AtaCommand& command,
                                     uint32_t* transferred) {
    if (command.timeout == 0) command.timeout = kDefaultTimeoutSeconds;
    AtaPassThroughDirect64 block = buildAtaPassThrough(command, dataSize, bufferAddress(buffer));
    logAtaSendLine(command, dataSize);

    DWORD returned = 0;
    const BOOL ok = deviceApi().deviceIoControl(handle, ioctl::kAtaPassThroughDirect, &block, sizeof block, &block,
                                                sizeof block, &returned, nullptr);
    copyBackRegisters(block, &command);
    if (transferred) *transferred = ok ? block.DataTransferLength : 0;
    if (!ok) {
        logWarning("[AtaProtocolOverAta] DeviceIoControl failed... LE=0x%X", takeSystemLastError());
        return false;
    }
    if (returned < block.Length) {
        takeSystemLastError();
        logWarning("[AtaProtocolOverAta] nRead(%d) < ataptd.Length(%d)", static_cast<int>(returned),
                   static_cast<int>(sizeof block));
        return false;
    }
    if (command.command & 0x01) {
        setLastError(err::kAtaErrorStatus);
        logWarning("[AtaProtocolOverAta] Err, Status=%Xh", command.command);
        return false;
    }
    return true;
}

}  // namespace zel
