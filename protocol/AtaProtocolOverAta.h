#pragma once

#include "protocol/IProtocol.h"

namespace zel {

// IOCTL_ATA_PASS_THROUGH_DIRECT on the physical drive; reads back the
// STATUS and ERROR registers.
class AtaProtocolOverAta : public AtaProtocol {
public:
    using IProtocol::sendCommand;
    bool sendCommand(HANDLE handle, uint8_t* buffer, uint32_t dataSize, void* command) override;
};

}  // namespace zel
