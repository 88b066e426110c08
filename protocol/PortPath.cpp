#include "protocol/PortPath.h"

#include "core/DeviceApi.h"
#include "core/DriveOpener.h"
#include "core/TextFormat.h"
#include "protocol/PassThroughLayouts.h"

namespace zel {
namespace {

void store(uint8_t* target, uint8_t value) {
    if (target) *target = value;
}

}  // namespace

std::string findPortPath(uint32_t diskNumber, uint8_t* portNumber, uint8_t* pathId, uint8_t* targetId,
                         uint8_t* lun) {
    SharedHandle drive = openPhysicalDrive(diskNumber, FILE_ATTRIBUTE_NORMAL);
    if (!drive) return "";
    ScsiAddress address{};
    DWORD returned = 0;
    if (!deviceApi().deviceIoControl(drive.get(), ioctl::kScsiGetAddress, nullptr, 0, &address, sizeof address,
                                     &returned, nullptr))
        return "";
    store(portNumber, address.PortNumber);
    store(pathId, address.PathId);
    store(targetId, address.TargetId);
    store(lun, address.Lun);
    return formatText("\\\\.\\SCSI%d:", address.PortNumber);
}

}  // namespace zel
