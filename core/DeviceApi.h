#pragma once

#include <windows.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace zel {

// One device-manager record, reduced to what disk classification needs.
struct DeviceRecord {
    uint32_t diskNumber = 0xFFFFFFFF;  // disks only
    std::string instanceId;
    std::string providerName;
    std::string driverVersion;
    std::string infPath;
    // PCI location of the device node (storage ports), 0xFFFFFFFF when unknown.
    uint32_t pciBus = 0xFFFFFFFF;
    uint32_t pciDevice = 0xFFFFFFFF;
    uint32_t pciFunction = 0xFFFFFFFF;
};

enum class InterfaceClass { Disk, StoragePort };

// Where an external tool is kept on a real host: beside the program
// (devcon, pssuspend) or in the system folder (diskpart, pnputil).
enum class ToolHome { BesideProgram, System };

struct VolumeSpace {
    uint64_t total = 0;
    uint64_t free = 0;
};

// One entry of a folder listing ("." and ".." left out).
struct FoundFile {
    std::string name;
    uint64_t size = 0;
    bool directory = false;
};

// The kernel seam: every access to a storage device, an I/O port or physical
// memory, and every power transition of the machine, goes through here. Operations mirror the Windows calls and report
// failure the Windows way (FALSE / INVALID_HANDLE_VALUE + GetLastError).
class DeviceApi {
public:
    virtual ~DeviceApi() = default;

    virtual HANDLE createFile(const char* path, DWORD access, DWORD share, DWORD disposition, DWORD flags) = 0;
    virtual BOOL closeHandle(HANDLE handle) = 0;
    virtual BOOL deviceIoControl(HANDLE handle, DWORD code, void* in, DWORD inSize, void* out, DWORD outSize,
                                 DWORD* returned, OVERLAPPED* overlapped) = 0;
    virtual BOOL readFile(HANDLE handle, void* buffer, DWORD size, DWORD* done, OVERLAPPED* overlapped) = 0;
    virtual BOOL writeFile(HANDLE handle, const void* buffer, DWORD size, DWORD* done, OVERLAPPED* overlapped) = 0;
    virtual BOOL setFilePointerEx(HANDLE handle, LARGE_INTEGER distance, LARGE_INTEGER* newPosition,
                                  DWORD method) = 0;
    virtual BOOL getOverlappedResult(HANDLE handle, OVERLAPPED* overlapped, DWORD* done, BOOL wait) = 0;
    virtual BOOL cancelIoEx(HANDLE handle, OVERLAPPED* overlapped) = 0;
    virtual BOOL flushFileBuffers(HANDLE handle) = 0;

    // I/O completion ports. createIoCompletionPort ties a handle opened for
    // overlapped I/O to a new port (port null) or to an existing one; every
    // request on that handle then posts a packet to the port when it ends,
    // also one that ended at once, unless the low bit of its OVERLAPPED's
    // event is set. closeHandle closes a port.
    virtual HANDLE createIoCompletionPort(HANDLE file, HANDLE port, ULONG_PTR key, DWORD threads) = 0;
    virtual BOOL getQueuedCompletionStatusEx(HANDLE port, OVERLAPPED_ENTRY* entries, ULONG count, ULONG* removed,
                                             DWORD timeoutMs) = 0;

    // Files and folders on drive letters. Behind the seam because the file
    // modes of rw write to the disk under test's volumes, which a virtual
    // host keeps in its state folder.
    virtual BOOL createDirectory(const char* path) = 0;
    virtual BOOL deleteFile(const char* path) = 0;
    // FindFirstFileA / FindNextFileA over "<folder>\*"; false with the
    // Windows last error when the folder cannot be listed.
    virtual bool findFiles(const char* folder, std::vector<FoundFile>* found) = 0;

    virtual DWORD getLogicalDrives() = 0;
    virtual bool getVolumeSpace(char letter, VolumeSpace* space) = 0;

    // Device interfaces of a class with their driver details (SetupDi, CM and
    // the class keys of the registry behind it).
    virtual std::vector<DeviceRecord> enumerateInterfaces(InterfaceClass interfaceClass) = 0;

    // Port-I/O driver: loaded as a service from the program's folder.
    virtual bool portIoOpen() = 0;
    virtual bool portIoIsOpen() = 0;
    virtual void portIoClose(bool removeService) = 0;
    virtual bool readPort(uint16_t port, uint32_t* value, uint8_t size) = 0;
    virtual bool writePort(uint16_t port, uint32_t value, uint8_t size) = 0;
    virtual bool readPhysicalDword(uint64_t address, uint32_t* value) = 0;
    virtual bool writePhysicalDword(uint64_t address, uint32_t value) = 0;

    // Full path of an external tool such as "devcon_amd64.exe". Behind the
    // seam so that a dry run never starts the machine's own tools. Empty,
    // with the Windows last error set, when there is none.
    virtual std::string toolPath(const std::string& fileName, ToolHome home) = 0;

    // Upper-case letter of the drive that holds the Windows folder, 0 when
    // unknown. It decides which disk is the OS drive; a virtual host may
    // put Windows on any of its volumes.
    virtual char windowsDriveLetter() = 0;

    // System power: transitions of the machine itself. A virtual host
    // simulates and records them, then returns as the real call does once
    // the machine is back (or, for reboot and shutdown, as if it refused).
    // ExitWindowsEx, with the shutdown privilege enabled first.
    virtual BOOL exitWindows(UINT flags, DWORD reason) = 0;
    // Runs the system's shutdown command line ("shutdown -s -t 0"); its result.
    virtual int runShutdownCommand(const char* commandLine) = 0;
    // A timer that wakes the machine from sleep or hibernation the given
    // seconds from now (SetWaitableTimer with resume); one per process.
    virtual BOOL setWakeTimer(uint32_t seconds) = 0;
    // SetSuspendState: S3, or S4 when hibernate; returns after the wake.
    virtual BOOL setSuspendState(BOOL hibernate, BOOL force, BOOL wakeEventsDisabled) = 0;

    // Seconds the host's clock runs ahead of the machine's: 0 on a real
    // host; a virtual host can move its clock to let hours pass in a dry run.
    virtual int64_t clockOffsetSeconds() { return 0; }
};

// The process-wide seam: Win32 unless the program's entry (or a test)
// installed another one, such as the virtual test host.
DeviceApi& deviceApi();

// The host's clock, which drives device counters such as power-on hours:
// local time in milliseconds since 1601 plus the seam's clock offset.
uint64_t hostClockMilliseconds();

// Replaces the process-wide seam; returns the previous one.
DeviceApi* replaceDeviceApi(DeviceApi* api);

}  // namespace zel
