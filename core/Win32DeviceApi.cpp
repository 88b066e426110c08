#include "core/Win32DeviceApi.h"

#include "core/ErrorCodes.h"

namespace zel {

HANDLE Win32DeviceApi::createFile(const char* path, DWORD access, DWORD share, DWORD disposition, DWORD flags) {
    return ::CreateFileA(path, access, share, nullptr, disposition, flags, nullptr);
}

BOOL Win32DeviceApi::closeHandle(HANDLE handle) { return ::CloseHandle(handle); }

BOOL Win32DeviceApi::deviceIoControl(HANDLE handle, DWORD code, void* in, DWORD inSize, void* out, DWORD outSize,
                                     DWORD* returned, OVERLAPPED* overlapped) {
    return ::DeviceIoControl(handle, code, in, inSize, out, outSize, returned, overlapped);
}

BOOL Win32DeviceApi::readFile(HANDLE handle, void* buffer, DWORD size, DWORD* done, OVERLAPPED* overlapped) {
    return ::ReadFile(handle, buffer, size, done, overlapped);
}

BOOL Win32DeviceApi::writeFile(HANDLE handle, const void* buffer, DWORD size, DWORD* done,
                               OVERLAPPED* overlapped) {
    return ::WriteFile(handle, buffer, size, done, overlapped);
}

BOOL Win32DeviceApi::setFilePointerEx(HANDLE handle, LARGE_INTEGER distance, LARGE_INTEGER* newPosition,
                                      DWORD method) {
    return ::SetFilePointerEx(handle, distance, newPosition, method);
}

BOOL Win32DeviceApi::getOverlappedResult(HANDLE handle, OVERLAPPED* overlapped, DWORD* done, BOOL wait) {
    return ::GetOverlappedResult(handle, overlapped, done, wait);
}

BOOL Win32DeviceApi::cancelIoEx(HANDLE handle, OVERLAPPED* overlapped) { return ::CancelIoEx(handle, overlapped); }

BOOL Win32DeviceApi::flushFileBuffers(HANDLE handle) { return ::FlushFileBuffers(handle); }

HANDLE Win32DeviceApi::createIoCompletionPort(HANDLE file, HANDLE port, ULONG_PTR key, DWORD threads) {
    return ::CreateIoCompletionPort(file, port, key, threads);
}

BOOL Win32DeviceApi::getQueuedCompletionStatusEx(HANDLE port, OVERLAPPED_ENTRY* entries, ULONG count,
                                                 ULONG* removed, DWORD timeoutMs) {
    return ::GetQueuedCompletionStatusEx(port, entries, count, removed, timeoutMs, FALSE);
}

BOOL Win32DeviceApi::createDirectory(const char* path) { return ::CreateDirectoryA(path, nullptr); }

BOOL Win32DeviceApi::deleteFile(const char* path) { return ::DeleteFileA(path); }

bool Win32DeviceApi::findFiles(const char* folder, std::vector<FoundFile>* found) {
    WIN32_FIND_DATAA data;
    HANDLE search = ::FindFirstFileA((std::string(folder) + "\\*").c_str(), &data);
    if (search == INVALID_HANDLE_VALUE) return false;
    do {
        const std::string name = data.cFileName;
        if (name == "." || name == "..") continue;
        const bool directory = data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY;
        found->push_back({name, uint64_t{data.nFileSizeHigh} << 32 | data.nFileSizeLow, directory});
    } while (::FindNextFileA(search, &data));
    const DWORD error = ::GetLastError();
    ::FindClose(search);
    if (error == ERROR_NO_MORE_FILES) return true;
    ::SetLastError(error);
    return false;
}

DWORD Win32DeviceApi::getLogicalDrives() { return ::GetLogicalDrives(); }

bool Win32DeviceApi::getVolumeSpace(char letter, VolumeSpace* space) {
    char root[] = {letter, ':', '\\', '\0'};
    ULARGE_INTEGER freeToCaller, total, totalFree;
    if (!::GetDiskFreeSpaceExA(root, &freeToCaller, &total, &totalFree)) return false;
    space->total = total.QuadPart;
    space->free = totalFree.QuadPart;
    return true;
}

}  // namespace zel

namespace zel {

// devcon and pssuspend ship beside the program; diskpart and pnputil are
// taken from the system folder by full path, never from PATH or the
// current folder.
std::string Win32DeviceApi::toolPath(const std::string& fileName, ToolHome home) {
    char folder[MAX_PATH] = {};
    if (home == ToolHome::System) {
        if (!::GetSystemDirectoryA(folder, MAX_PATH)) return "";
        return std::string(folder) + "\\" + fileName;
    }
    if (!::GetModuleFileNameA(nullptr, folder, MAX_PATH)) return "";
    const std::string program = folder;
    return program.substr(0, program.find_last_of("\\/")) + "\\" + fileName;
}

char machineWindowsDriveLetter() {
    char folder[MAX_PATH] = {};
    if (!::GetWindowsDirectoryA(folder, MAX_PATH)) return 0;
    return static_cast<char>(toupper(static_cast<unsigned char>(folder[0])));
}

char Win32DeviceApi::windowsDriveLetter() { return machineWindowsDriveLetter(); }

}  // namespace zel
