// Device-manager side of the Win32 seam: disks and storage ports with their
// drivers' class-key values, reduced to DeviceRecord.
#include <windows.h>
#include <cfgmgr32.h>
#include <setupapi.h>
#include <winioctl.h>

#include <cstdio>

#include "core/WinReg.h"
#include "core/Win32DeviceApi.h"

namespace zel {

const char kDiskInterfaceGuidText[] = "53F56307-B6BF-11D0-94F2-00A0C91EFB8B";
const char kStoragePortInterfaceGuidText[] = "2ACCFE60-C130-11D2-B082-00A0C91EFB8B";

bool parseGuidText(const char* text, GUID* guid) {
    unsigned long data1 = 0;
    unsigned short data2 = 0, data3 = 0;
    unsigned char d[8] = {};
    const int fields = std::sscanf(text, "%08lx-%04hx-%04hx-%02hhx%02hhx-%02hhx%02hhx%02hhx%02hhx%02hhx%02hhx", &data1,
                                   &data2, &data3, &d[0], &d[1], &d[2], &d[3], &d[4], &d[5], &d[6], &d[7]);
    if (fields != 11) return false;
    guid->Data1 = data1;
    guid->Data2 = data2;
    guid->Data3 = data3;
    for (int i = 0; i < 8; ++i) guid->Data4[i] = d[i];
    return true;
}

namespace {

const char kClassKey[] = "SYSTEM\\CurrentControlSet\\Control\\Class\\";

std::string deviceId(DEVINST node) {
    char id[MAX_DEVICE_ID_LEN + 1] = {};
    return CM_Get_Device_IDA(node, id, sizeof(id), 0) == CR_SUCCESS ? id : "";
}

// The disk's own id and those of its parent and grandparent, so that the
// controller's id is a substring of it.
std::string ancestry(DEVINST node) {
    std::string ids = deviceId(node);
    for (int level = 0; level < 2; ++level) {
        DEVINST parent = 0;
        if (CM_Get_Parent(&parent, node, 0) != CR_SUCCESS) break;
        ids += "\n" + deviceId(parent);
        node = parent;
    }
    return ids;
}

uint32_t diskNumberOf(const char* interfacePath) {
    HANDLE handle = CreateFileA(interfacePath, 0, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0,
                                nullptr);
    if (handle == INVALID_HANDLE_VALUE) return 0xFFFFFFFF;
    STORAGE_DEVICE_NUMBER number{};
    DWORD returned = 0;
    const BOOL ok = DeviceIoControl(handle, IOCTL_STORAGE_GET_DEVICE_NUMBER, nullptr, 0, &number, sizeof(number),
                                    &returned, nullptr);
    CloseHandle(handle);
    return ok ? number.DeviceNumber : 0xFFFFFFFF;
}

bool dwordProperty(HDEVINFO set, SP_DEVINFO_DATA* device, DWORD property, DWORD* value) {
    return SetupDiGetDeviceRegistryPropertyA(set, device, property, nullptr, reinterpret_cast<BYTE*>(value),
                                             sizeof(*value), nullptr);
}

void readDriverDetails(HDEVINFO set, SP_DEVINFO_DATA* device, DeviceRecord* record) {
    char driver[256] = {};
    if (!SetupDiGetDeviceRegistryPropertyA(set, device, SPDRP_DRIVER, nullptr, reinterpret_cast<BYTE*>(driver),
                                           sizeof(driver) - 1, nullptr))
        return;
    const std::string key = kClassKey + std::string(driver);
    record->providerName = WinReg::readText(key, "ProviderName", "");
    record->driverVersion = WinReg::readText(key, "DriverVersion", "");
    record->infPath = WinReg::readText(key, "InfPath", "");
}

void readPciLocation(HDEVINFO set, SP_DEVINFO_DATA* device, DeviceRecord* record) {
    if (record->instanceId.rfind("PCI\\", 0) != 0) return;
    DWORD bus = 0, address = 0;
    if (!dwordProperty(set, device, SPDRP_BUSNUMBER, &bus) || !dwordProperty(set, device, SPDRP_ADDRESS, &address))
        return;
    record->pciBus = bus;
    record->pciDevice = address >> 16;
    record->pciFunction = address & 0xFFFF;
}

bool interfaceDetail(HDEVINFO set, SP_DEVICE_INTERFACE_DATA* itf, std::string* path, SP_DEVINFO_DATA* device) {
    DWORD needed = 0;
    SetupDiGetDeviceInterfaceDetailA(set, itf, nullptr, 0, &needed, nullptr);
    if (needed < sizeof(SP_DEVICE_INTERFACE_DETAIL_DATA_A)) return false;
    std::vector<char> buffer(needed);
    auto* detail = reinterpret_cast<SP_DEVICE_INTERFACE_DETAIL_DATA_A*>(buffer.data());
    detail->cbSize = sizeof(SP_DEVICE_INTERFACE_DETAIL_DATA_A);
    device->cbSize = sizeof(SP_DEVINFO_DATA);
    if (!SetupDiGetDeviceInterfaceDetailA(set, itf, detail, needed, nullptr, device)) return false;
    *path = detail->DevicePath;
    return true;
}

}  // namespace

std::vector<DeviceRecord> Win32DeviceApi::enumerateInterfaces(InterfaceClass interfaceClass) {
    const bool disks = interfaceClass == InterfaceClass::Disk;
    GUID guid{};
    if (!parseGuidText(disks ? kDiskInterfaceGuidText : kStoragePortInterfaceGuidText, &guid)) return {};
    HDEVINFO set = SetupDiGetClassDevsA(&guid, nullptr, nullptr, DIGCF_PRESENT | DIGCF_DEVICEINTERFACE);
    if (set == INVALID_HANDLE_VALUE) return {};
    std::vector<DeviceRecord> records;
    SP_DEVICE_INTERFACE_DATA itf{};
    itf.cbSize = sizeof(itf);
    for (DWORD index = 0; SetupDiEnumDeviceInterfaces(set, nullptr, &guid, index, &itf); ++index) {
        std::string path;
        SP_DEVINFO_DATA device{};
        if (!interfaceDetail(set, &itf, &path, &device)) continue;
        DeviceRecord record;
        record.instanceId = disks ? ancestry(device.DevInst) : deviceId(device.DevInst);
        if (disks) record.diskNumber = diskNumberOf(path.c_str());
        readDriverDetails(set, &device, &record);
        if (!disks) readPciLocation(set, &device, &record);
        records.push_back(record);
    }
    SetupDiDestroyDeviceInfoList(set);
    return records;
}

}  // namespace zel
