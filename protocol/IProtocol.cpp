#include "protocol/IProtocol.h"

#include "core/DriveOpener.h"
#include "core/ErrorCodes.h"

namespace zel {

bool IProtocol::sendCommand(uint32_t diskNumber, uint8_t* buffer, uint32_t dataSize, void* command) {
    return sendOnOpenedDrive(diskNumber, FILE_ATTRIBUTE_NORMAL, buffer, dataSize, command);
}

bool IProtocol::sendOnOpenedDrive(uint32_t diskNumber, DWORD flags, uint8_t* buffer, uint32_t dataSize,
                                  void* command) {
    SharedHandle drive = openPhysicalDrive(diskNumber, flags);
    if (!drive) {
        takeSystemLastError();
        return false;
    }
    return sendCommand(drive.get(), buffer, dataSize, command);
}

}  // namespace zel
