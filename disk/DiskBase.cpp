#include "disk/DiskBase.h"

#include <windows.h>

#include "core/DeviceApi.h"
#include "core/DriveOpener.h"
#include "core/Logger.h"

namespace zel {
namespace {

char windowsDriveLetter() { return deviceApi().windowsDriveLetter(); }

}  // namespace

bool DiskBase::isOsDrive() const {
    const char osLetter = windowsDriveLetter();
    for (const DriveLetter& letter : identity_.letters)
        if (osLetter && letter.letter == osLetter) return true;
    return false;
}

bool DiskBase::firstVolumeIsOsDrive() const {
    return !identity_.letters.empty() && identity_.letters.front().letter == windowsDriveLetter();
}

bool DiskBase::refuseIfOsDrive() const {
    if (!isOsDrive()) return false;
    logError("[DiskBase] Disk %d: %s", number(), errorText(err::kOsDrive).c_str());
    setLastError(err::kOsDrive);
    return true;
}

bool DiskBase::isPresent() const {
    if (openPhysicalDrive(static_cast<uint32_t>(number()), FILE_ATTRIBUTE_NORMAL)) return true;
    takeSystemLastError();
    return false;
}

bool DiskBase::readFirstSector(std::vector<uint8_t>* sector) const {
    SharedHandle drive = openPhysicalDrive(static_cast<uint32_t>(number()), FILE_FLAG_NO_BUFFERING);
    if (!drive) {
        takeSystemLastError();
        return false;
    }
    const uint32_t size = logicalSectorSize() ? logicalSectorSize() : 512;
    // Unbuffered reads want a sector-aligned buffer.
    std::vector<uint8_t> buffer(size * 2);
    uint8_t* aligned = buffer.data() + (size - reinterpret_cast<uintptr_t>(buffer.data()) % size) % size;
    LARGE_INTEGER zero{};
    DWORD done = 0;
    const bool ok = deviceApi().setFilePointerEx(drive.get(), zero, nullptr, FILE_BEGIN) &&
                    deviceApi().readFile(drive.get(), aligned, size, &done, nullptr) && done == size;
    if (!ok) {
        takeSystemLastError();
        return false;
    }
    sector->assign(aligned, aligned + size);
    return true;
}

namespace {
ErrorCode unsupported() {
    setLastError(err::kFunctionNotSupported);
    return err::kFunctionNotSupported;
}
}  // namespace

ErrorCode DiskBase::identify(std::vector<uint8_t>*) { return unsupported(); }
ErrorCode DiskBase::readSmartData(std::vector<uint8_t>*) { return unsupported(); }
ErrorCode DiskBase::smartReturnStatus(bool*) { return unsupported(); }
ErrorCode DiskBase::getLogPage(uint8_t, uint32_t, uint64_t, std::vector<uint8_t>*) { return unsupported(); }

}  // namespace zel
