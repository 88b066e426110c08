#include "vhost/VirtualHost.h"

#include <cctype>
#include <cstdlib>
#include <cstring>

#include "core/Logger.h"
#include "core/Win32DeviceApi.h"
#include "vhost/PortIoBench.h"
#include "vhost/PowerBoard.h"

namespace zel {
namespace vhost {
namespace {

// The number after a prefix, matched without regard to case: "\\.\PhysicalDrive12" -> 12.
bool numberAfter(const char* path, const char* prefix, const char* suffix, int* number) {
    const size_t length = std::strlen(prefix);
    if (_strnicmp(path, prefix, length) != 0) return false;
    const char* digits = path + length;
    if (!std::isdigit(static_cast<unsigned char>(*digits))) return false;
    char* end = nullptr;
    const long value = std::strtol(digits, &end, 10);
    if (std::strcmp(end, suffix) != 0 || value > 0xFFFF) return false;
    *number = static_cast<int>(value);
    return true;
}

}  // namespace

VirtualHost::VirtualHost(const HostDescription& description, DWORD missingError)
    : description_(description),
      state_(description.stateFolder),
      changes_(description.stateFolder),
      missingError_(missingError),
      folders_(description.stateFolder),
      powerLog_(description.stateFolder) {
    state_.setClockOffset(description_.clockOffsetSeconds);
    for (const DiskDescription& disk : description_.disks)
        disks_.push_back(std::make_unique<VirtualDisk>(disk, state_));
    wireBoards();
}

void VirtualHost::wireBoards() {
    for (const PowerSwitchDescription& board : description_.powerSwitches) {
        VirtualDisk* own = disk(board.diskNumber);
        if (!own) continue;
        std::vector<VirtualDisk*> powered;
        for (int number : board.powers)
            if (VirtualDisk* target = disk(number)) powered.push_back(target);
        const std::string log = description_.stateFolder.empty() ? "" : description_.stateFolder + "/power-switches.log";
        boards_.push_back(std::make_unique<PowerBoard>(board, *own, powered, log));
        own->scsi()->attachBoard(boards_.back().get());
        own->attachBoard(boards_.back().get());
    }
}

PowerBoard* VirtualHost::board(int diskNumber) {
    for (auto& board : boards_)
        if (board->description().diskNumber == diskNumber) return board.get();
    return nullptr;
}

// Requests still in flight are dropped untouched: at exit their owners may
// be gone. The timer's thread may need the host lock to finish the request
// it is moving, so it is stopped without holding it.
VirtualHost::~VirtualHost() {
    std::unique_ptr<TimedQueue> stopping;
    {
        std::lock_guard<std::mutex> io(ioLock_);
        stopping = std::move(timer_);
        inFlight_.clear();
    }
    ioDone_.notify_all();
    stopping.reset();
    std::lock_guard<std::recursive_mutex> guard(lock_);
    for (auto& disk : disks_) disk->image().flush();
    state_.saveIfChanged();
    for (auto& entry : handles_) ::CloseHandle(entry.first);
}

bool VirtualHost::loadState(std::vector<std::string>* problems) {
    std::lock_guard<std::recursive_mutex> guard(lock_);
    const bool countersOk = state_.load(problems);
    const bool changesOk = changes_.load(problems);
    refreshChanges();
    return countersOk && changesOk;
}

void VirtualHost::refreshChanges() {
    changes_.reloadIfChanged();
    for (auto& disk : disks_) disk->setControllerOff(changes_.controllerOff(disk->description()));
}

std::string VirtualHost::toolPath(const std::string& fileName, ToolHome) {
    if (description_.toolsFolder.empty()) {
        ::SetLastError(ERROR_FILE_NOT_FOUND);
        return "";
    }
    std::string path = description_.toolsFolder + "\\" + fileName;
    for (char& c : path)
        if (c == '/') c = '\\';
    return path;
}

VirtualDisk* VirtualHost::disk(int number) {
    for (auto& disk : disks_)
        if (disk->number() == number) return disk.get();
    return nullptr;
}

DecodedRequest VirtualHost::lastRequest() {
    std::lock_guard<std::recursive_mutex> guard(lock_);
    return last_;
}

size_t VirtualHost::openHandleCount() {
    std::lock_guard<std::recursive_mutex> guard(lock_);
    return handles_.size();
}

VirtualHost::OpenHandle* VirtualHost::find(HANDLE handle) {
    auto it = handles_.find(handle);
    return it == handles_.end() ? nullptr : &it->second;
}

BOOL VirtualHost::failWith(DWORD error) {
    ::SetLastError(error);
    return FALSE;
}

HANDLE VirtualHost::issueHandle(const OpenHandle& entry) {
    HANDLE token = ::CreateEventA(nullptr, TRUE, FALSE, nullptr);
    if (token == nullptr) return INVALID_HANDLE_VALUE;
    handles_[token] = entry;
    return token;
}

HANDLE VirtualHost::openDrive(int number, DWORD access, DWORD flags) {
    VirtualDisk* target = disk(number);
    if (!target) {
        ::SetLastError(missingError_);
        return INVALID_HANDLE_VALUE;
    }
    if (target->hidden()) {
        ::SetLastError(ERROR_FILE_NOT_FOUND);
        return INVALID_HANDLE_VALUE;
    }
    OpenHandle entry;
    entry.disk = number;
    entry.access = access;
    entry.overlappedIo = flags & FILE_FLAG_OVERLAPPED;
    entry.writeThrough = flags & FILE_FLAG_WRITE_THROUGH;
    return issueHandle(entry);
}

HANDLE VirtualHost::openPort(int port, DWORD access) {
    for (auto& disk : disks_) {
        if (disk->description().scsiAddress.port != port || disk->hidden()) continue;
        OpenHandle entry;
        entry.kind = OpenHandle::Kind::Port;
        entry.port = port;
        entry.access = access;
        return issueHandle(entry);
    }
    ::SetLastError(missingError_);
    return INVALID_HANDLE_VALUE;
}

HANDLE VirtualHost::createFile(const char* path, DWORD access, DWORD share, DWORD disposition, DWORD flags) {
    int number = -1;
    std::lock_guard<std::recursive_mutex> guard(lock_);
    refreshChanges();
    if (numberAfter(path, "\\\\.\\PhysicalDrive", "", &number)) {
        last_ = DecodedRequest();
        last_.path = path;
        last_.openFlags = flags;
        return openDrive(number, access, flags);
    }
    if (numberAfter(path, "\\\\.\\SCSI", ":", &number)) {
        last_ = DecodedRequest();
        last_.path = path;
        return openPort(number, access);
    }
    char letter = 0;
    if (volumeLetter(path, &letter)) return openVolume(letter, access);
    std::string hostPath;
    switch (mapFilePath(path, &hostPath, &letter)) {
        case FilePath::Mapped: return openVolumeFile(hostPath, letter, access, share, disposition, flags);
        case FilePath::Refused: return INVALID_HANDLE_VALUE;
        default: return passThrough_.createFile(path, access, share, disposition, flags);
    }
}

BOOL VirtualHost::closeHandle(HANDLE handle) {
    const LastErrorOnSuccess keep;
    std::lock_guard<std::recursive_mutex> guard(lock_);
    if (ports_.erase(handle)) return keep(::CloseHandle(handle));
    if (!find(handle)) {
        volumeFiles_.erase(handle);
        return passThrough_.closeHandle(handle);
    }
    cancelRequests(handle, nullptr);
    handles_.erase(handle);
    state_.saveIfChanged();
    return keep(::CloseHandle(handle));
}

// A request answered at once; an OVERLAPPED caller finds the result in
// it, as after a request that Windows finished synchronously.
BOOL VirtualHost::finish(BOOL ok, DWORD bytes, DWORD* done, OVERLAPPED* overlapped) {
    const DWORD error = ok ? ERROR_SUCCESS : ::GetLastError();
    if (done) *done = bytes;
    if (overlapped) {
        overlapped->Internal = error;
        overlapped->InternalHigh = bytes;
        if (eventOf(overlapped)) ::SetEvent(eventOf(overlapped));
    }
    if (!ok) ::SetLastError(error);
    return ok;
}

BOOL VirtualHost::deviceIoControl(HANDLE handle, DWORD code, void* in, DWORD inSize, void* out, DWORD outSize,
                                  DWORD* returned, OVERLAPPED* overlapped) {
    const LastErrorOnSuccess keep;
    std::lock_guard<std::recursive_mutex> guard(lock_);
    OpenHandle* entry = find(handle);
    if (!entry) return passThrough_.deviceIoControl(handle, code, in, inSize, out, outSize, returned, overlapped);
    DecodedRequest opened;
    opened.path = last_.path;
    opened.openFlags = last_.openFlags;
    last_ = opened;
    last_.ioctl = code;
    last_.inSize = inSize;
    last_.outSize = outSize;
    DWORD bytes = 0;
    BOOL ok = FALSE;
    VirtualDisk* target = entry->kind == OpenHandle::Kind::Drive ? disk(entry->disk) : nullptr;
    if (target && ioctlFault(*target, code)) {
        ok = FALSE;
    } else if (entry->kind == OpenHandle::Kind::Volume) {
        ok = volumeIoctl(*entry, code, static_cast<uint8_t*>(out), outSize, &bytes);
    } else if (entry->kind == OpenHandle::Kind::Drive) {
        ok = driveIoctl(*entry, code, static_cast<uint8_t*>(in), inSize, static_cast<uint8_t*>(out), outSize, &bytes);
    } else {
        ok = portIoctl(*entry, code, static_cast<uint8_t*>(in), inSize, static_cast<uint8_t*>(out), outSize, &bytes);
    }
    return keep(finish(ok, bytes, returned, overlapped));
}

bool VirtualHost::ioctlFault(VirtualDisk& target, DWORD code) {
    if (!target.admitRequest()) {
        failWith(ERROR_DEVICE_NOT_CONNECTED);
        return true;
    }
    if (const FaultDescription* fault = target.faults().matchUnranged("ioctl_error", -1, code)) {
        failWith(fault->windowsError ? fault->windowsError : ERROR_IO_DEVICE);
        return true;
    }
    if (target.faults().matchUnranged("timeout", -1, code)) {
        failWith(ERROR_SEM_TIMEOUT);
        return true;
    }
    return false;
}

std::unique_ptr<DeviceApi> createVirtualHost(const std::string& path) {
    HostDescription description;
    std::string problem;
    if (!loadHostDescription(path, &description, &problem)) {
        logError("[VirtualHost] Cannot load host description %s: %s", path.c_str(), problem.c_str());
        return nullptr;
    }
    auto host = std::make_unique<VirtualHost>(description);
    std::vector<std::string> damaged;
    if (!host->loadState(&damaged))
        for (const std::string& what : damaged)
            logWarning("[VirtualHost] Damaged host state %s: %s; it starts from its default",
                       description.stateFolder.c_str(), what.c_str());
    return host;
}

std::unique_ptr<DeviceApi> createUnloadableHost() {
    HostDescription nothing;
    nothing.portIoDriver = false;
    return std::make_unique<VirtualHost>(nothing, ERROR_BAD_CONFIGURATION);
}

// The machine's own Windows letter unless the description moves Windows.
char VirtualHost::windowsDriveLetter() {
    return description_.windowsLetter ? description_.windowsLetter : machineWindowsDriveLetter();
}

int64_t VirtualHost::clockOffsetSeconds() { return static_cast<int64_t>(description_.clockOffsetSeconds); }

}  // namespace vhost
}  // namespace zel
