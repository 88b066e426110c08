#pragma once

#include <cstdint>
#include <string>

#include "protocol/ProtocolCode.h"

namespace zel {

struct DiskClass {
    int kind;
    ProtocolCode protocolCode;
};

// Chooses the disk kind and protocol from the bus type, the vendor and product
// ids (exact comparisons) and the controller driver's provider name.
// forcedNvmeProtocol is the process switch: switchvalue::kForcedNvmeMiniport
// when the command line selected "zelnvme", else 0.
DiskClass classifyDisk(uint32_t busType, const std::string& vendor, const std::string& product,
                       const std::string& providerName, uint32_t forcedNvmeProtocol);

// The vendor id up to its first control character (below 0x20 or 0x7F).
std::string cutAtControl(const std::string& text);

}  // namespace zel
