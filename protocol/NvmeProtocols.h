#pragma once

#include "protocol/IProtocol.h"

namespace zel {

// The inbox NVMe driver: storage queries for Identify, Get Log Page and Get
// Features; the protocol command for vendor-specific admin opcodes.
class NvmeProtocolByStornvme : public NvmeProtocol {
public:
    using IProtocol::sendCommand;
    bool sendCommand(HANDLE handle, uint8_t* buffer, uint32_t dataSize, void* command) override;

private:
    bool sendQuery(HANDLE handle, uint8_t* buffer, uint32_t dataSize, struct NvmeCommand& command);
    bool sendProtocolCommand(HANDLE handle, uint8_t* buffer, uint32_t dataSize, struct NvmeCommand& command);
};

// The SCSI-port routes cannot use a disk handle: they open the port found by
// the record's disk number and leave that handle open, as the tool always has.
class NvmePortProtocol : public NvmeProtocol {
public:
    using IProtocol::sendCommand;
    bool sendCommand(HANDLE handle, uint8_t* buffer, uint32_t dataSize, void* command) override;
};

// Vendor NVMe miniport drivers: "NvmeMini" SRB_IO_CONTROL.
class NvmeProtocolByScsiMiniport : public NvmePortProtocol {
public:
    using NvmePortProtocol::sendCommand;
    bool sendCommand(uint32_t diskNumber, uint8_t* buffer, uint32_t dataSize, void* command) override;
};

// Intel RST in RAID mode: "IntelNvm" SRB_IO_CONTROL.
class NvmeProtocolByIrst : public NvmePortProtocol {
public:
    using NvmePortProtocol::sendCommand;
    bool sendCommand(uint32_t diskNumber, uint8_t* buffer, uint32_t dataSize, void* command) override;
};

}  // namespace zel
