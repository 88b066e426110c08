// Port-I/O side of the Win32 seam: the WinIo kernel driver, installed as a
// demand-start service from the program's folder and reached through its
// device's I/O controls.
#include <windows.h>
#include <winioctl.h>

#include <string>

#include "core/ErrorCodes.h"
#include "core/Win32DeviceApi.h"

namespace zel {
namespace {

const char kServiceName[] = "WINIO";
const char kDevicePath[] = "\\\\.\\WINIO";
const char kDriverFile[] = "WinIo64.sys";

constexpr DWORD kWinIoDeviceType = 0x8010;
constexpr DWORD kWinIoIndex = 0x810;
constexpr DWORD winIoControl(DWORD index) {
    return CTL_CODE(kWinIoDeviceType, kWinIoIndex + index, METHOD_BUFFERED, FILE_ANY_ACCESS);
}
constexpr DWORD kMapPhysical = winIoControl(0);
constexpr DWORD kUnmapPhysical = winIoControl(1);
constexpr DWORD kReadPort = winIoControl(4);
constexpr DWORD kWritePort = winIoControl(5);

// The driver's request records.
struct PhysicalMapping {
    DWORD64 sizeInBytes;
    DWORD64 physicalAddress;
    DWORD64 sectionHandle;
    DWORD64 linearAddress;
    DWORD64 sectionObject;
};
static_assert(sizeof(PhysicalMapping) == 40, "driver's physical mapping record");

#pragma pack(push, 1)
struct PortAccess {
    USHORT port;
    DWORD value;
    UCHAR size;
};
#pragma pack(pop)
static_assert(sizeof(PortAccess) == 7, "driver's port record");

std::string driverPath() {
    char exe[MAX_PATH] = {};
    GetModuleFileNameA(nullptr, exe, MAX_PATH);
    std::string path = exe;
    return path.substr(0, path.find_last_of("\\/") + 1) + kDriverFile;
}

bool startService() {
    SC_HANDLE manager = OpenSCManagerA(nullptr, nullptr, SC_MANAGER_ALL_ACCESS);
    if (!manager) return false;
    SC_HANDLE service = OpenServiceA(manager, kServiceName, SERVICE_ALL_ACCESS);
    if (!service) {
        const std::string path = driverPath();
        service = CreateServiceA(manager, kServiceName, kServiceName, SERVICE_ALL_ACCESS, SERVICE_KERNEL_DRIVER,
                                 SERVICE_DEMAND_START, SERVICE_ERROR_NORMAL, path.c_str(), nullptr, nullptr,
                                 nullptr, nullptr, nullptr);
    }
    const bool ok = service && (StartServiceA(service, 0, nullptr) || GetLastError() == ERROR_SERVICE_ALREADY_RUNNING);
    if (service) CloseServiceHandle(service);
    CloseServiceHandle(manager);
    return ok;
}

void removeService() {
    SC_HANDLE manager = OpenSCManagerA(nullptr, nullptr, SC_MANAGER_ALL_ACCESS);
    if (!manager) return;
    if (SC_HANDLE service = OpenServiceA(manager, kServiceName, SERVICE_ALL_ACCESS)) {
        SERVICE_STATUS status{};
        ControlService(service, SERVICE_CONTROL_STOP, &status);
        DeleteService(service);
        CloseServiceHandle(service);
    }
    CloseServiceHandle(manager);
}

}  // namespace

bool Win32DeviceApi::portIoOpen() {
    if (portIoIsOpen()) return true;
    auto openDevice = [] {
        return CreateFileA(kDevicePath, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                           FILE_ATTRIBUTE_NORMAL, nullptr);
    };
    portIoDevice_ = openDevice();
    if (portIoDevice_ == INVALID_HANDLE_VALUE && startService()) portIoDevice_ = openDevice();
    if (portIoDevice_ != INVALID_HANDLE_VALUE) return true;
    setLastError(err::kWinIoInit);
    return false;
}

bool Win32DeviceApi::portIoIsOpen() { return portIoDevice_ != INVALID_HANDLE_VALUE; }

void Win32DeviceApi::portIoClose(bool remove) {
    if (portIoIsOpen()) CloseHandle(portIoDevice_);
    portIoDevice_ = INVALID_HANDLE_VALUE;
    if (remove) removeService();
}

bool Win32DeviceApi::readPort(uint16_t port, uint32_t* value, uint8_t size) {
    if (!portIoIsOpen()) return false;
    PortAccess access{port, 0, size};
    DWORD returned = 0;
    if (!DeviceIoControl(portIoDevice_, kReadPort, &access, sizeof(access), value, sizeof(*value), &returned,
                         nullptr))
        return false;
    if (size < 4) *value &= (1u << (8 * size)) - 1;
    return true;
}

bool Win32DeviceApi::writePort(uint16_t port, uint32_t value, uint8_t size) {
    if (!portIoIsOpen()) return false;
    PortAccess access{port, value, size};
    DWORD returned = 0;
    return DeviceIoControl(portIoDevice_, kWritePort, &access, sizeof(access), nullptr, 0, &returned, nullptr);
}

bool Win32DeviceApi::mapPhysical(uint64_t address, void** linear, void* mapping) {
    auto* request = static_cast<PhysicalMapping*>(mapping);
    *request = PhysicalMapping{4, address, 0, 0, 0};
    DWORD returned = 0;
    if (!portIoIsOpen() || !DeviceIoControl(portIoDevice_, kMapPhysical, request, sizeof(*request), request,
                                            sizeof(*request), &returned, nullptr))
        return false;
    *linear = reinterpret_cast<void*>(static_cast<uintptr_t>(request->linearAddress));
    return *linear != nullptr;
}

void Win32DeviceApi::unmapPhysical(void* mapping) {
    DWORD returned = 0;
    DeviceIoControl(portIoDevice_, kUnmapPhysical, mapping, sizeof(PhysicalMapping), nullptr, 0, &returned,
                    nullptr);
}

bool Win32DeviceApi::readPhysicalDword(uint64_t address, uint32_t* value) {
    PhysicalMapping mapping{};
    void* linear = nullptr;
    if (!mapPhysical(address, &linear, &mapping)) return false;
    *value = *static_cast<volatile uint32_t*>(linear);
    unmapPhysical(&mapping);
    return true;
}

bool Win32DeviceApi::writePhysicalDword(uint64_t address, uint32_t value) {
    PhysicalMapping mapping{};
    void* linear = nullptr;
    if (!mapPhysical(address, &linear, &mapping)) return false;
    *static_cast<volatile uint32_t*>(linear) = value;
    unmapPhysical(&mapping);
    return true;
}

}  // namespace zel
