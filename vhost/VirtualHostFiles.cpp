// Files on the drive letters of the virtual volumes, kept in the state
// folder (VolumeFolders) and limited to each volume's free space.
#include <windows.h>

#include <filesystem>
#include <system_error>

#include "vhost/VirtualHost.h"

namespace zel {
namespace vhost {

// A letter that is no virtual volume is refused, whatever the machine has
// there: a dry run must not reach the machine's own drives through the seam.
VirtualHost::FilePath VirtualHost::mapFilePath(const char* path, std::string* hostPath, char* letter) {
    std::vector<std::string> names;
    switch (VolumeFolders::parse(path, letter, &names)) {
        case VolumeFolders::PathKind::NotOnLetter: return FilePath::Elsewhere;
        case VolumeFolders::PathKind::Invalid: failWith(ERROR_INVALID_NAME); return FilePath::Refused;
        default: break;
    }
    refreshChanges();
    if (!volume(*letter, nullptr)) {
        failWith(ERROR_PATH_NOT_FOUND);
        return FilePath::Refused;
    }
    std::error_code error;
    std::filesystem::create_directories(folders_.folder(*letter), error);
    *hostPath = folders_.hostPath(*letter, names);
    return FilePath::Mapped;
}

HANDLE VirtualHost::openVolumeFile(const std::string& hostPath, char letter, DWORD access, DWORD share,
                                   DWORD disposition, DWORD flags) {
    HANDLE file = passThrough_.createFile(hostPath.c_str(), access, share, disposition, flags);
    if (file == INVALID_HANDLE_VALUE) return file;
    volumeFiles_[file] = letter;
    usedBytes_.erase(letter);  // a create may have truncated a file
    return file;
}

bool VirtualHost::isVolumeFile(HANDLE handle) {
    std::lock_guard<std::recursive_mutex> guard(lock_);
    return volumeFiles_.count(handle) != 0;
}

uint64_t VirtualHost::freeBytes(char letter, const VolumeDescription& volume) {
    auto used = usedBytes_.find(letter);
    if (used == usedBytes_.end()) used = usedBytes_.emplace(letter, folders_.usedBytes(letter)).first;
    return volume.freeBytes > used->second ? volume.freeBytes - used->second : 0;
}

// A write that would grow the files past the volume's free space fails
// with ERROR_DISK_FULL and writes nothing, as NTFS answers it.
BOOL VirtualHost::writeVolumeFile(HANDLE handle, const void* buffer, DWORD size, DWORD* done,
                                  OVERLAPPED* overlapped) {
    std::lock_guard<std::recursive_mutex> guard(lock_);
    const char letter = volumeFiles_[handle];
    const VolumeDescription* target = volume(letter, nullptr);
    if (!target) return finish(failWith(ERROR_NOT_READY), 0, done, overlapped);
    LARGE_INTEGER length{}, position{};
    if (!::GetFileSizeEx(handle, &length)) return FALSE;
    if (overlapped) {
        position.QuadPart = static_cast<LONGLONG>(overlapped->Offset | uint64_t{overlapped->OffsetHigh} << 32);
    } else if (!::SetFilePointerEx(handle, LARGE_INTEGER{}, &position, FILE_CURRENT)) {
        return FALSE;
    }
    const uint64_t end = static_cast<uint64_t>(position.QuadPart) + size;
    const uint64_t growth = end > static_cast<uint64_t>(length.QuadPart) ? end - length.QuadPart : 0;
    if (growth > freeBytes(letter, *target)) return finish(failWith(ERROR_DISK_FULL), 0, done, overlapped);
    const BOOL ok = passThrough_.writeFile(handle, buffer, size, done, overlapped);
    if (ok) usedBytes_[letter] += growth;
    return ok;
}

BOOL VirtualHost::createDirectory(const char* path) {
    std::lock_guard<std::recursive_mutex> guard(lock_);
    std::string hostPath;
    char letter = 0;
    switch (mapFilePath(path, &hostPath, &letter)) {
        case FilePath::Mapped: return ::CreateDirectoryA(hostPath.c_str(), nullptr);
        case FilePath::Refused: return FALSE;
        default: return passThrough_.createDirectory(path);
    }
}

BOOL VirtualHost::deleteFile(const char* path) {
    std::lock_guard<std::recursive_mutex> guard(lock_);
    std::string hostPath;
    char letter = 0;
    switch (mapFilePath(path, &hostPath, &letter)) {
        case FilePath::Mapped: usedBytes_.erase(letter); return ::DeleteFileA(hostPath.c_str());
        case FilePath::Refused: return FALSE;
        default: return passThrough_.deleteFile(path);
    }
}

bool VirtualHost::findFiles(const char* folder, std::vector<FoundFile>* found) {
    std::lock_guard<std::recursive_mutex> guard(lock_);
    std::string hostPath;
    char letter = 0;
    switch (mapFilePath(folder, &hostPath, &letter)) {
        case FilePath::Mapped: return passThrough_.findFiles(hostPath.c_str(), found);
        case FilePath::Refused: return false;
        default: return passThrough_.findFiles(folder, found);
    }
}

}  // namespace vhost
}  // namespace zel
