#include "protocol/NvmeProtocolOverJMicron.h"

#include "core/ErrorCodes.h"
#include "core/Logger.h"
#include "protocol/JMicronTunnel.h"
#include "protocol/ScsiProtocol.h"

namespace zel {
namespace {

constexpr uint32_t kDefaultTimeoutSeconds = 30;

bool movesData(const NvmeCommand& command) {
    return command.direction == nvmedir::kToDevice || command.direction == nvmedir::kFromDevice;
}

// Status code type and code without the phase bit.
uint16_t statusField(const NvmeCommand& command) { return static_cast<uint16_t>(command.status() >> 1); }

}  // namespace

bool NvmeProtocolOverJMicron::sendCommand(uint32_t diskNumber, uint8_t* buffer, uint32_t dataSize, void* command) {
    return sendOnOpenedDrive(diskNumber, FILE_FLAG_NO_BUFFERING, buffer, dataSize, command);
}

bool NvmeProtocolOverJMicron::sendCommand(HANDLE handle, uint8_t* buffer, uint32_t dataSize, void* record) {
    NvmeCommand& command = *static_cast<NvmeCommand*>(record);
    if (command.timeout == 0) command.timeout = kDefaultTimeoutSeconds;
    logSendLine("[NvmeProtocolOverJMicron] Send command: OPC=%X, NS=%X, CDW10=%X, CDW11=%X, CDW12=%X, datasize=%d",
                command.opcode(), command.nsid(), command.dword(10), command.dword(11), command.dword(12),
                static_cast<int>(dataSize));
    const uint32_t length = movesData(command) ? dataSize : 0;
    if (length > kJMicronMaxTransfer) {
        logWarning("[NvmeProtocolOverJMicron] datasize=%u is more than %u bytes, not sent.",
                   static_cast<unsigned>(length), static_cast<unsigned>(kJMicronMaxTransfer));
        setLastError(err::kNvmeNotSupported);
        return false;
    }
    const bool admin = command.admin != 0;
    alignas(16) JMicronCommandBlock block = buildJMicronCommandBlock(command);  // the SCSI route passes it as is
    if (!sendPhase(handle, "command", buildJMicronCdb(JMicronPhase::kCommand, admin, sizeof block),
                   reinterpret_cast<uint8_t*>(&block), sizeof block, command.timeout))
        return false;
    const JMicronPhase dataPhase = jmicronDataPhase(command, length);
    if (!sendPhase(handle, "data", buildJMicronCdb(dataPhase, admin, length), length ? buffer : nullptr, length,
                   command.timeout))
        return false;
    return takeResponse(handle, command);
}

// A phase the bridge refuses ends the command; the sense tells why.
bool NvmeProtocolOverJMicron::sendPhase(HANDLE handle, const char* name, ScsiCommand scsi, uint8_t* data,
                                        uint32_t length, uint32_t timeout) {
    scsi.timeout = timeout;
    uint8_t sense[32] = {};
    if (ScsiProtocol().sendCommand(handle, data, length, scsi, sense)) return true;
    logDebug("[NvmeProtocolOverJMicron] %s phase failed: SCSI status %d, sense key %Xh, ASC %02Xh, ASCQ %02Xh", name,
             scsi.scsiStatus, sense[2] & 0x0F, sense[12], sense[13]);
    // A refused CDB says so in its status; a failed IOCTL keeps its Windows error.
    if (scsi.scsiStatus != 0 || lastError() == 0) setLastError(err::kScsiStatus);
    return false;
}

bool NvmeProtocolOverJMicron::takeResponse(HANDLE handle, NvmeCommand& command) {
    alignas(16) JMicronResponseBlock response = {};
    if (!sendPhase(handle, "response",
                   buildJMicronCdb(JMicronPhase::kResponse, command.admin != 0, sizeof response),
                   reinterpret_cast<uint8_t*>(&response), sizeof response, command.timeout))
        return false;
    if (!takeJMicronResponse(response, &command)) {
        logWarning("[NvmeProtocolOverJMicron] response block without the NVME signature.");
        setLastError(err::kNvmeFailed);
        return false;
    }
    if (statusField(command) == 0) return true;
    logDebug("[NvmeProtocolOverJMicron] NVMe status 0x%04X", statusField(command));
    setLastError(err::kNvmeStatus);
    return false;
}

}  // namespace zel
