#pragma once

#include "protocol/CommandRecords.h"
#include "protocol/IProtocol.h"

namespace zel {

// NVMe admin and I/O commands through the JMicron USB bridge's vendor
// tunnel (protocol/JMicronTunnel.h): three SCSI pass-through phases on one
// handle. At most 4096 data bytes per command; a completion with an error
// status fails with 0x20000125.
class NvmeProtocolOverJMicron : public NvmeProtocol {
public:
    bool sendCommand(uint32_t diskNumber, uint8_t* buffer, uint32_t dataSize, void* command) override;
    bool sendCommand(HANDLE handle, uint8_t* buffer, uint32_t dataSize, void* command) override;

private:
    bool sendPhase(HANDLE handle, const char* name, ScsiCommand scsi, uint8_t* data, uint32_t length,
                   uint32_t timeout);
    bool takeResponse(HANDLE handle, NvmeCommand& command);
};

}  // namespace zel
