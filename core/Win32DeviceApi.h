#pragma once

#include "core/DeviceApi.h"

namespace zel {

// The real Windows calls, with no logic of their own.
class Win32DeviceApi : public DeviceApi {
public:
    HANDLE createFile(const char* path, DWORD access, DWORD share, DWORD disposition, DWORD flags) override;
    BOOL closeHandle(HANDLE handle) override;
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

    std::string toolPath(const std::string& fileName, ToolHome home) override;
    char windowsDriveLetter() override;

    BOOL exitWindows(UINT flags, DWORD reason) override;
    int runShutdownCommand(const char* commandLine) override;
    BOOL setWakeTimer(uint32_t seconds) override;
    BOOL setSuspendState(BOOL hibernate, BOOL force, BOOL wakeEventsDisabled) override;

private:
    bool mapPhysical(uint64_t address, void** linear, void* mapping);
    void unmapPhysical(void* mapping);

    HANDLE portIoDevice_ = INVALID_HANDLE_VALUE;
    HANDLE wakeTimer_ = nullptr;
};

// The drive letter of this machine's own Windows folder, 0 when unknown.
char machineWindowsDriveLetter();

// The device interface classes, as text and as parsed into a GUID.
extern const char kDiskInterfaceGuidText[];
extern const char kStoragePortInterfaceGuidText[];
bool parseGuidText(const char* text, GUID* guid);

}  // namespace zel
