#include "core/SafeSave.h"

#include <algorithm>
#include <atomic>
#include <fstream>
#include <iterator>

#include "core/Logger.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cstdio>
#endif

namespace zel {
namespace {

constexpr ErrorCode kWriteFault = 29;  // ERROR_WRITE_FAULT
std::atomic<ErrorCode> g_resultFailure{0};

std::string tempPath(const std::string& path) { return path + kTempSuffix; }

#ifdef _WIN32
constexpr DWORD kLockWaitMs = 15000;
constexpr DWORD kRenameWaitMs = 3000;
constexpr DWORD kRetryStepMs = 10;

// Another holder of the lock, or a reader that keeps the file open.
bool busy(DWORD error) {
    return error == ERROR_SHARING_VIOLATION || error == ERROR_ACCESS_DENIED || error == ERROR_LOCK_VIOLATION;
}

intptr_t openLock(const std::string& path) {
    const std::string lockPath = path + kLockSuffix;
    for (DWORD waited = 0;; waited += kRetryStepMs) {
        HANDLE lock = CreateFileA(lockPath.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS,
                                  FILE_ATTRIBUTE_NORMAL | FILE_FLAG_DELETE_ON_CLOSE, nullptr);
        if (lock != INVALID_HANDLE_VALUE) return reinterpret_cast<intptr_t>(lock);
        if (!busy(GetLastError()) || waited >= kLockWaitMs) return takeSystemLastError(), -1;
        Sleep(kRetryStepMs);
    }
}

void closeLock(intptr_t handle) { CloseHandle(reinterpret_cast<HANDLE>(handle)); }

bool writeTemp(const std::string& path, const std::string& bytes) {
    HANDLE file = CreateFileA(tempPath(path).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                              FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return takeSystemLastError(), false;
    size_t done = 0;
    while (done < bytes.size()) {
        DWORD wrote = 0;
        const DWORD chunk = static_cast<DWORD>(std::min<size_t>(bytes.size() - done, 1u << 20));
        if (!WriteFile(file, bytes.data() + done, chunk, &wrote, nullptr) || wrote == 0) break;
        done += wrote;
    }
    if (done < bytes.size()) takeSystemLastError();
    CloseHandle(file);
    return done == bytes.size();
}

bool flushTemp(const std::string& temp) {
    HANDLE file = CreateFileA(temp.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return takeSystemLastError(), false;
    const bool flushed = FlushFileBuffers(file) != FALSE;
    if (!flushed) takeSystemLastError();
    CloseHandle(file);
    return flushed;
}

// A script reading the old file keeps it open for a moment; wait for it.
bool renameOver(const std::string& temp, const std::string& path) {
    for (DWORD waited = 0;; waited += kRetryStepMs) {
        if (MoveFileExA(temp.c_str(), path.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) return true;
        if (!busy(GetLastError()) || waited >= kRenameWaitMs) return takeSystemLastError(), false;
        Sleep(kRetryStepMs);
    }
}

void removeTemp(const std::string& path) {
    const DWORD keep = GetLastError();
    DeleteFileA(tempPath(path).c_str());
    SetLastError(keep);
}
#else
intptr_t openLock(const std::string& path) {
    const int fd = ::open((path + kLockSuffix).c_str(), O_CREAT | O_RDWR, 0644);
    if (fd < 0 || ::flock(fd, LOCK_EX) != 0) return -1;
    return fd;
}

void closeLock(intptr_t handle) { ::close(static_cast<int>(handle)); }

bool writeTemp(const std::string& path, const std::string& bytes) {
    std::ofstream file(tempPath(path), std::ios::binary | std::ios::trunc);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return static_cast<bool>(file.flush());
}

bool flushTemp(const std::string& temp) {
    const int fd = ::open(temp.c_str(), O_RDWR);
    if (fd < 0) return false;
    const bool synced = ::fsync(fd) == 0;
    ::close(fd);
    return synced;
}

bool renameOver(const std::string& temp, const std::string& path) {
    return std::rename(temp.c_str(), path.c_str()) == 0;
}

void removeTemp(const std::string& path) { std::remove(tempPath(path).c_str()); }
#endif

bool replaceWhole(const std::string& path, const std::string& bytes) {
    if (writeTemp(path, bytes) && moveTempIntoPlace(path)) return true;
    removeTemp(path);
    return false;
}

}  // namespace

bool writeTempFile(const std::string& path, const std::string& bytes) { return writeTemp(path, bytes); }

void discardTempFile(const std::string& path) { removeTemp(path); }

FileLock::FileLock(const std::string& path) : handle_(openLock(path)) { held_ = handle_ != -1; }

FileLock::~FileLock() {
    if (held_) closeLock(handle_);
}

bool moveTempIntoPlace(const std::string& path) {
    const std::string temp = tempPath(path);
    return flushTemp(temp) && renameOver(temp, path);
}

bool readWholeFile(const std::string& path, std::string* bytes) {
    std::ifstream file(path, std::ios::binary);
    if (!file) return false;
    bytes->assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    return true;
}

bool saveFileWhole(const std::string& path, const std::string& bytes) {
    FileLock lock(path);
    if (lock.held() && replaceWhole(path, bytes)) return true;
    reportResultFileFailure(path, lastError());
    return false;
}

bool updateFileWhole(const std::string& path, const std::function<void(std::string*)>& change) {
    FileLock lock(path);
    std::string bytes;
    if (lock.held()) {
        readWholeFile(path, &bytes);
        change(&bytes);
        if (replaceWhole(path, bytes)) return true;
    }
    reportResultFileFailure(path, lastError());
    return false;
}

void reportResultFileFailure(const std::string& path, ErrorCode code) {
    if (code == 0) code = kWriteFault;
    logWarning("[ZelCli] Cannot write the result file %s %s", path.c_str(), errorText(code).c_str());
    ErrorCode none = 0;
    g_resultFailure.compare_exchange_strong(none, code);
    setLastError(code);
}

ErrorCode resultFileFailure() { return g_resultFailure.load(); }

}  // namespace zel
