#pragma once

#include <windows.h>

#include <cstdint>

namespace zel {

// One raw command to a disk through one pass-through IOCTL. Routes are
// stateless; the caller owns the command record and the data buffer.
class IProtocol {
public:
    virtual ~IProtocol() = default;

    // Opens "\\.\PhysicalDrive%d" (FILE_ATTRIBUTE_NORMAL) and sends on it.
    virtual bool sendCommand(uint32_t diskNumber, uint8_t* buffer, uint32_t dataSize, void* command);
    virtual bool sendCommand(HANDLE handle, uint8_t* buffer, uint32_t dataSize, void* command) = 0;

protected:
    bool sendOnOpenedDrive(uint32_t diskNumber, DWORD flags, uint8_t* buffer, uint32_t dataSize, void* command);
};

class AtaProtocol : public IProtocol {};
class NvmeProtocol : public IProtocol {};

// Pointer value of a caller buffer as the 64-bit structures carry it.
inline uint64_t bufferAddress(const void* buffer) { return reinterpret_cast<uintptr_t>(buffer); }

}  // namespace zel
