#include "protocol/ScsiProtocol.h"

#include <cstring>

#include "core/DeviceApi.h"
#include "core/ErrorCodes.h"
#include "core/Logger.h"
#include "protocol/PassThroughBuilders.h"

namespace zel {
namespace {

constexpr uint32_t kDefaultTimeoutSeconds = 30;

void logCdbSendLine(const ScsiPassThroughDirect64& sptd, uint32_t dataSize) {
    const uint8_t* c = sptd.Cdb;
    logSendLine("[ScsiProtocol] Send CDB(%d): %02X %02X %02X %02X %02X %02X %02X %02X %02X %02X %02X %02X %02X "
                "%02X %02X %02X, dataSize=%d",
                sptd.CdbLength, c[0], c[1], c[2], c[3], c[4], c[5], c[6], c[7], c[8], c[9], c[10], c[11], c[12],
                c[13], c[14], c[15], static_cast<int>(dataSize));
}

}  // namespace

bool ScsiProtocol::sendCommand(uint32_t diskNumber, uint8_t* buffer, uint32_t dataSize, void* command) {
    return sendOnOpenedDrive(diskNumber, FILE_FLAG_NO_BUFFERING, buffer, dataSize, command);
}

bool ScsiProtocol::sendCommand(HANDLE handle, uint8_t* buffer, uint32_t dataSize, void* record) {
    uint8_t sense[32];
    return sendCommand(handle, buffer, dataSize, *static_cast<ScsiCommand*>(record), sense);
}

bool ScsiProtocol::sendCommand(HANDLE handle, uint8_t* buffer, uint32_t dataSize, ScsiCommand& command,
                               uint8_t (&sense)[32], uint32_t* transferred) {
    if (command.timeout == 0) command.timeout = kDefaultTimeoutSeconds;
    ScsiPassThroughWithSense block = buildScsiPassThrough(command, dataSize, bufferAddress(buffer));
    logCdbSendLine(block.sptd, dataSize);

    DWORD returned = 0;
    const BOOL ok = deviceApi().deviceIoControl(handle, ioctl::kScsiPassThroughDirect, &block, sizeof block, &block,
                                                sizeof block, &returned, nullptr);
    command.scsiStatus = block.sptd.ScsiStatus;
    std::memcpy(sense, block.sense, sizeof sense);
    if (transferred) *transferred = ok ? block.sptd.DataTransferLength : 0;
    if (ok && returned >= block.sptd.Length && block.sptd.ScsiStatus == 0) return true;
    logDebug("command fail... nRead(%u), Sptd.Length(%u), Sptd.ScsiStatus=%d", static_cast<unsigned>(returned),
             static_cast<unsigned>(sizeof block.sptd), block.sptd.ScsiStatus);
    takeSystemLastError();
    return false;
}

bool AtaProtocolOverUsb::sendCommand(uint32_t diskNumber, uint8_t* buffer, uint32_t dataSize, void* command) {
    return sendOnOpenedDrive(diskNumber, FILE_FLAG_NO_BUFFERING, buffer, dataSize, command);
}

bool AtaProtocolOverUsb::sendCommand(HANDLE handle, uint8_t* buffer, uint32_t dataSize, void* record) {
    ScsiCommand scsi = buildSatCommand(*static_cast<const AtaCommand*>(record));
    return ScsiProtocol().sendCommand(handle, buffer, dataSize, &scsi);
}

}  // namespace zel
