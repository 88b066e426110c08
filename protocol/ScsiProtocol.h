#pragma once

#include "protocol/CommandRecords.h"
#include "protocol/IProtocol.h"

namespace zel {

// IOCTL_SCSI_PASS_THROUGH_DIRECT with a 32-byte sense buffer; opens by disk
// number without buffering.
class ScsiProtocol : public IProtocol {
public:
    bool sendCommand(uint32_t diskNumber, uint8_t* buffer, uint32_t dataSize, void* command) override;
    bool sendCommand(HANDLE handle, uint8_t* buffer, uint32_t dataSize, void* command) override;
    // The same, also handing back the 32-byte sense buffer (for raw commands,
    // whose callers show the sense of a CHECK CONDITION) and, when asked, the
    // bytes the driver says it moved (DataTransferLength written back).
    bool sendCommand(HANDLE handle, uint8_t* buffer, uint32_t dataSize, ScsiCommand& command,
                     uint8_t (&sense)[32], uint32_t* transferred = nullptr);
};

// ATA commands wrapped in SAT ATA PASS-THROUGH CDBs for USB bridges.
class AtaProtocolOverUsb : public AtaProtocol {
public:
    bool sendCommand(uint32_t diskNumber, uint8_t* buffer, uint32_t dataSize, void* command) override;
    bool sendCommand(HANDLE handle, uint8_t* buffer, uint32_t dataSize, void* command) override;
};

}  // namespace zel
