#pragma once

#include "protocol/CommandRecords.h"
#include "protocol/IProtocol.h"

namespace zel {

// IOCTL_ATA_PASS_THROUGH_DIRECT on the physical drive; reads back the
// STATUS and ERROR registers.
class AtaProtocolOverAta : public AtaProtocol {
public:
    using IProtocol::sendCommand;
    bool sendCommand(HANDLE handle, uint8_t* buffer, uint32_t dataSize, void* command) override;
    // The same, also handing back the bytes the driver says it moved
    // (DataTransferLength written back), for raw commands.
    bool sendCommand(HANDLE handle, uint8_t* buffer, uint32_t dataSize, AtaCommand& command, uint32_t* transferred);
};

}  // namespace zel
