#include "core/DriveOpener.h"

#include "core/DeviceApi.h"
#include "core/TextFormat.h"

namespace zel {

SharedHandle adoptHandle(HANDLE handle) {
    if (handle == INVALID_HANDLE_VALUE || handle == nullptr) return nullptr;
    return SharedHandle(handle, [](void* owned) {
        const DWORD keep = ::GetLastError();  // closing must not hide the caller's error
        deviceApi().closeHandle(owned);
        ::SetLastError(keep);
    });
}

SharedHandle openPhysicalDrive(uint32_t diskNumber, DWORD flags) {
    const std::string path = formatText("\\\\.\\PhysicalDrive%d", static_cast<int>(diskNumber));
    return adoptHandle(deviceApi().createFile(path.c_str(), GENERIC_READ | GENERIC_WRITE,
                                              FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING, flags));
}

}  // namespace zel
