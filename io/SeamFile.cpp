#include "io/SeamFile.h"

#include "core/DeviceApi.h"
#include "core/ErrorCodes.h"

namespace zel {

SeamFile::~SeamFile() {
    if (handle_ != INVALID_HANDLE_VALUE) deviceApi().closeHandle(handle_);
}

bool SeamFile::open(const std::string& path, DWORD access, DWORD share, DWORD disposition, DWORD flags) {
    handle_ = deviceApi().createFile(path.c_str(), access, share, disposition, flags);
    if (handle_ != INVALID_HANDLE_VALUE) return true;
    setLastError(GetLastError());
    return false;
}

bool SeamFile::create(const std::string& path, bool writeThrough) {
    const DWORD flags = FILE_ATTRIBUTE_NORMAL | (writeThrough ? FILE_FLAG_WRITE_THROUGH : 0);
    return open(path, GENERIC_WRITE, 0, CREATE_ALWAYS, flags);
}

bool SeamFile::openForReading(const std::string& path) {
    return open(path, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN);
}

bool SeamFile::write(const void* data, uint32_t bytes) {
    DWORD done = 0;
    if (!deviceApi().writeFile(handle_, data, bytes, &done, nullptr)) {
        setLastError(GetLastError());
        return false;
    }
    written_ = true;
    if (done == bytes) return true;
    setLastError(ERROR_DISK_FULL);
    return false;
}

bool SeamFile::read(void* data, uint32_t bytes, uint32_t* got) {
    DWORD done = 0;
    const bool ok = deviceApi().readFile(handle_, data, bytes, &done, nullptr);
    if (!ok) setLastError(GetLastError());
    *got = done;
    return ok;
}

bool SeamFile::size(uint64_t* bytes) {
    LARGE_INTEGER end{}, start{};
    if (!deviceApi().setFilePointerEx(handle_, LARGE_INTEGER{}, &end, FILE_END) ||
        !deviceApi().setFilePointerEx(handle_, LARGE_INTEGER{}, &start, FILE_BEGIN)) {
        setLastError(GetLastError());
        return false;
    }
    *bytes = static_cast<uint64_t>(end.QuadPart);
    return true;
}

// A file is done only when its data left the cache.
bool SeamFile::close() {
    if (handle_ == INVALID_HANDLE_VALUE) return true;
    bool ok = true;
    if (written_ && !deviceApi().flushFileBuffers(handle_)) {
        setLastError(GetLastError());
        ok = false;
    }
    deviceApi().closeHandle(handle_);
    handle_ = INVALID_HANDLE_VALUE;
    return ok;
}

bool ensureFolder(const std::string& path) {
    for (size_t cut = path.find('\\', 3); ; cut = path.find('\\', cut + 1)) {
        const std::string part = path.substr(0, cut);
        if (!deviceApi().createDirectory(part.c_str()) && GetLastError() != ERROR_ALREADY_EXISTS) {
            setLastError(GetLastError());
            return false;
        }
        if (cut == std::string::npos) return true;
    }
}

}  // namespace zel
