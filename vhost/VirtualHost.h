#pragma once

#include <chrono>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "core/DeviceApi.h"
#include "core/Win32DeviceApi.h"
#include "vhost/CompletionQueue.h"
#include "vhost/HostDescription.h"
#include "vhost/HostState.h"
#include "vhost/PlatformPower.h"
#include "vhost/PowerEventLog.h"
#include "vhost/SystemChanges.h"
#include "vhost/TimedQueue.h"
#include "vhost/VirtualDisk.h"
#include "vhost/VolumeFolders.h"

namespace zel {
namespace vhost {

class PortIoBench;
class PowerBoard;

// What the host decoded from the last request's raw bytes, for tests and
// for the dry-run log.
struct DecodedRequest {
    std::string path;
    uint32_t openFlags = 0;  // CreateFileA's flags for the path
    uint32_t ioctl = 0;
    uint32_t inSize = 0;
    uint32_t outSize = 0;
    uint8_t pathId = 0;
    uint8_t targetId = 0;
    uint8_t lun = 0;
    uint8_t dataIn = 0;
    uint32_t transferLength = 0;
    uint32_t timeout = 0;
    uint16_t ataFlags = 0;
    std::string signature;
    uint32_t controlCode = 0;
    uint32_t queueId = 0;
    uint32_t propertyId = 0;
    uint32_t dataType = 0;
    uint32_t requestValue = 0;
    uint32_t requestSubValue = 0;
    uint32_t protocolDataLength = 0;
    uint32_t commandSpecific = 0;
};

// Windows leaves the thread's last error alone when a call succeeds; the
// host's own file and event calls must not change it either.
class LastErrorOnSuccess {
public:
    template <typename Result>
    Result operator()(Result ok) const {
        if (ok) ::SetLastError(before_);
        return ok;
    }

private:
    DWORD before_ = ::GetLastError();
};

// The virtual test host behind the kernel seam. It owns the device paths
// "\\.\PhysicalDriveN" and "\\.\SCSIN:" (all of them, so a dry run never
// touches a real disk) and hands out real event handles as tokens; any other
// path or handle goes to the real Windows calls.
class VirtualHost : public DeviceApi {
public:
    // missingError: what opening a device path that has no disk answers.
    explicit VirtualHost(const HostDescription& description, DWORD missingError = ERROR_FILE_NOT_FOUND);
    ~VirtualHost() override;

    // Reads the counters of an earlier run; false when some were damaged
    // (named in problems), which then start from their defaults.
    bool loadState(std::vector<std::string>* problems);

    HANDLE createFile(const char* path, DWORD access, DWORD share, DWORD disposition, DWORD flags) override;
    BOOL closeHandle(HANDLE handle) override;
    int64_t clockOffsetSeconds() override;
    BOOL deviceIoControl(HANDLE handle, DWORD code, void* in, DWORD inSize, void* out, DWORD outSize,
                         DWORD* returned, OVERLAPPED* overlapped) override;
    BOOL readFile(HANDLE handle, void* buffer, DWORD size, DWORD* done, OVERLAPPED* overlapped) override;
    BOOL writeFile(HANDLE handle, const void* buffer, DWORD size, DWORD* done, OVERLAPPED* overlapped) override;
    BOOL setFilePointerEx(HANDLE handle, LARGE_INTEGER distance, LARGE_INTEGER* newPosition,
                          DWORD method) override;
    BOOL getOverlappedResult(HANDLE handle, OVERLAPPED* overlapped, DWORD* done, BOOL wait) override;
    BOOL cancelIoEx(HANDLE handle, OVERLAPPED* overlapped) override;
    BOOL flushFileBuffers(HANDLE handle) override;
    HANDLE createIoCompletionPort(HANDLE file, HANDLE port, ULONG_PTR key, DWORD threads) override;
    BOOL getQueuedCompletionStatusEx(HANDLE port, OVERLAPPED_ENTRY* entries, ULONG count, ULONG* removed,
                                     DWORD timeoutMs) override;
    BOOL createDirectory(const char* path) override;
    BOOL deleteFile(const char* path) override;
    bool findFiles(const char* folder, std::vector<FoundFile>* found) override;

    DWORD getLogicalDrives() override;
    bool getVolumeSpace(char letter, VolumeSpace* space) override;
    std::vector<DeviceRecord> enumerateInterfaces(InterfaceClass interfaceClass) override;

    bool portIoOpen() override;
    bool portIoIsOpen() override;
    void portIoClose(bool removeService) override;
    bool readPort(uint16_t port, uint32_t* value, uint8_t size) override;
    bool writePort(uint16_t port, uint32_t value, uint8_t size) override;
    bool readPhysicalDword(uint64_t address, uint32_t* value) override;
    bool writePhysicalDword(uint64_t address, uint32_t value) override;

    // The description's tools folder holds the stand-ins of the external
    // tools, whatever the home of the real ones.
    std::string toolPath(const std::string& fileName, ToolHome home) override;
    char windowsDriveLetter() override;

    // System power (VirtualHostPower.cpp): recorded in power-events.log and
    // answered at once, as the real calls answer once the machine is back.
    BOOL exitWindows(UINT flags, DWORD reason) override;
    int runShutdownCommand(const char* commandLine) override;
    BOOL setWakeTimer(uint32_t seconds) override;
    BOOL setSuspendState(BOOL hibernate, BOOL force, BOOL wakeEventsDisabled) override;
    // The power-events.log lines this host wrote.
    std::vector<std::string> powerEvents();

    VirtualDisk* disk(int number);
    // The power-switch board answering on a disk, if any.
    PowerBoard* board(int diskNumber);
    const HostDescription& description() const { return description_; }
    HostState& state() { return state_; }
    DecodedRequest lastRequest();
    size_t openHandleCount();

protected:
    // The completion port a drive handle is tied to, and the key its packets carry.
    struct PortBinding {
        std::shared_ptr<CompletionQueue> port;
        ULONG_PTR key = 0;
    };
    struct OpenHandle {
        enum class Kind { Drive, Port, Volume } kind = Kind::Drive;
        int disk = -1;  // drives
        char letter = 0;  // volumes
        int port = -1;  // ports
        DWORD access = 0;
        uint64_t position = 0;
        bool overlappedIo = false;  // opened with FILE_FLAG_OVERLAPPED
        bool writeThrough = false;  // FILE_FLAG_WRITE_THROUGH: writes with forced unit access
        PortBinding binding;        // drives tied to a completion port
    };

    OpenHandle* find(HANDLE handle);
    HANDLE issueHandle(const OpenHandle& entry);
    std::recursive_mutex& lock() { return lock_; }

private:
    HANDLE openDrive(int number, DWORD access, DWORD flags);
    HANDLE openPort(int port, DWORD access);
    BOOL finish(BOOL ok, DWORD bytes, DWORD* done, OVERLAPPED* overlapped);
    BOOL failWith(DWORD error);

    // Drive IOCTLs (DriveIoctls.cpp).
    BOOL driveIoctl(OpenHandle& entry, DWORD code, uint8_t* in, DWORD inSize, uint8_t* out, DWORD outSize,
                    DWORD* returned);
    BOOL storageQuery(VirtualDisk& disk, const uint8_t* in, DWORD inSize, uint8_t* out, DWORD outSize,
                      DWORD* returned);
    BOOL deviceDescriptor(VirtualDisk& disk, uint8_t* out, DWORD outSize, DWORD* returned);
    BOOL alignmentDescriptor(VirtualDisk& disk, uint8_t* out, DWORD outSize, DWORD* returned);
    BOOL driveGeometry(VirtualDisk& disk, uint8_t* out, DWORD outSize, DWORD* returned);
    BOOL scsiAddress(VirtualDisk& disk, uint8_t* out, DWORD outSize, DWORD* returned);
    BOOL ataPassThrough(VirtualDisk& disk, uint8_t* in, DWORD inSize, uint8_t* out, DWORD outSize, DWORD* returned);
    BOOL scsiPassThrough(VirtualDisk& disk, uint8_t* in, DWORD inSize, uint8_t* out, DWORD outSize, DWORD* returned);
    BOOL manageDataSet(OpenHandle& entry, VirtualDisk& disk, const uint8_t* in, DWORD inSize, DWORD* returned);

    // NVMe IOCTLs (NvmeIoctls.cpp).
    BOOL nvmeQuery(VirtualDisk& disk, const uint8_t* in, DWORD inSize, uint8_t* out, DWORD outSize, DWORD* returned);
    BOOL nvmeProtocolCommand(VirtualDisk& disk, uint8_t* in, DWORD inSize, uint8_t* out, DWORD outSize,
                             DWORD* returned);
    BOOL portIoctl(OpenHandle& entry, DWORD code, uint8_t* in, DWORD inSize, uint8_t* out, DWORD outSize,
                   DWORD* returned);
    BOOL nvmeMiniport(int port, uint8_t* block, DWORD size, DWORD* returned);
    BOOL nvmeIrst(int port, uint8_t* block, DWORD size, DWORD* returned);
    VirtualDisk* nvmeOnPort(int port, const char* route, int pathId);

    // A disk that is gone, or an injected IOCTL failure or time-out that fires.
    bool ioctlFault(VirtualDisk& disk, DWORD code);

    // Reads and writes (VirtualHostIo.cpp): admitted under the host lock,
    // their data moves after the disk's latency; an overlapped one on a
    // handle opened for it completes on the timer's thread.
    struct IoRequest {
        int disk = -1;
        uint8_t* buffer = nullptr;
        DWORD size = 0;
        uint64_t offset = 0;
        bool write = false;
        bool forceUnitAccess = false;
        DWORD error = ERROR_SUCCESS;  // refused at once
        bool hangs = false;           // a timeout fault: it never completes by itself
        std::chrono::microseconds latency{0};
    };
    struct InFlight {
        HANDLE handle = nullptr;
        IoRequest request;
        PortBinding binding;
    };
    using InFlightMap = std::map<OVERLAPPED*, InFlight>;
    bool owns(HANDLE handle);
    IoRequest admit(OpenHandle& entry, uint8_t* buffer, DWORD size, const OVERLAPPED* overlapped, bool write);
    DWORD refusal(const OpenHandle& entry, VirtualDisk* target, const IoRequest& request);
    DWORD moveData(const IoRequest& request);
    BOOL transfer(HANDLE handle, uint8_t* buffer, DWORD size, DWORD* done, OVERLAPPED* overlapped, bool write);
    BOOL queue(const OpenHandle& entry, HANDLE handle, const IoRequest& request, OVERLAPPED* overlapped);
    void completeQueued(OVERLAPPED* overlapped);
    void completeLocked(InFlightMap::iterator request, DWORD error, DWORD bytes);
    // Posts the packet of a request that ended, unless its event opts out.
    static void post(const PortBinding& binding, OVERLAPPED* overlapped, DWORD bytes);
    // Aborts the requests of a handle (all handles when null) that have not
    // started moving data; true when the handle had any in flight.
    bool cancelRequests(HANDLE handle, OVERLAPPED* only);

    HostDescription description_;
    HostState state_;
    SystemChanges changes_;
    std::vector<std::unique_ptr<VirtualDisk>> disks_;
    std::vector<std::unique_ptr<PowerBoard>> boards_;
    void wireBoards();
    std::map<HANDLE, OpenHandle> handles_;
    Win32DeviceApi passThrough_;
    DecodedRequest last_;
    DWORD missingError_;

    // Drive letters and volumes (VirtualHostEnumeration.cpp).
    static bool volumeLetter(const char* path, char* letter);
    const VolumeDescription* volume(char letter, int* diskNumber);
    // Takes in what the host's tools changed since (stand-ins run as other
    // processes between and during runs).
    void refreshChanges();
    HANDLE openVolume(char letter, DWORD access);
    BOOL volumeIoctl(OpenHandle& entry, DWORD code, uint8_t* out, DWORD outSize, DWORD* returned);

    // Files on the volumes' letters (VirtualHostFiles.cpp): kept in the
    // state folder, real handles of the host's own files, each volume
    // limited to its free space.
    enum class FilePath { Elsewhere, Refused, Mapped };
    FilePath mapFilePath(const char* path, std::string* hostPath, char* letter);
    HANDLE openVolumeFile(const std::string& hostPath, char letter, DWORD access, DWORD share, DWORD disposition,
                          DWORD flags);
    bool isVolumeFile(HANDLE handle);
    BOOL writeVolumeFile(HANDLE handle, const void* buffer, DWORD size, DWORD* done, OVERLAPPED* overlapped);
    uint64_t freeBytes(char letter, const VolumeDescription& volume);
    VolumeFolders folders_;
    std::map<HANDLE, char> volumeFiles_;
    std::map<char, uint64_t> usedBytes_;  // counted on first need, then kept up by writes
    // Power transitions (VirtualHostPower.cpp): logged, and a power cycle of
    // every disk that has power when the transition says so.
    void applyTransition(const PowerTransition& transition);
    void applyPortTransitions();
    PowerEventLog powerLog_;
    int64_t wakeTimerSeconds_ = -1;  // none armed

    // The port-I/O driver (VirtualHostPortIo.cpp).
    PortIoBench& portIoBench();
    std::unique_ptr<PortIoBench> portIo_;
    std::recursive_mutex lock_;

    // Requests in flight; taken after lock_ when both are needed, never before.
    std::mutex ioLock_;
    std::condition_variable ioDone_;
    InFlightMap inFlight_;
    std::unique_ptr<TimedQueue> timer_;
    // Completion ports (VirtualHostIo.cpp), under lock_.
    std::map<HANDLE, std::shared_ptr<CompletionQueue>> ports_;
};

// Builds a virtual host from a description file; null with an ERROR line
// naming the file and the problem when it cannot be loaded.
std::unique_ptr<DeviceApi> createVirtualHost(const std::string& path);

// The stand-in for a description that could not be loaded: it owns the
// device paths like any virtual host, has no disks, every device open fails
// with ERROR_BAD_CONFIGURATION and the port-I/O driver is missing, so a dry
// run never reaches real disks and never passes as a good one.
std::unique_ptr<DeviceApi> createUnloadableHost();

}  // namespace vhost
}  // namespace zel
