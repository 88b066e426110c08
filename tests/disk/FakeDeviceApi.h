#pragma once

#include <windows.h>
#include <winioctl.h>

#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "core/DeviceApi.h"

namespace zeltest {

// A small host of disks answering the list build's requests. Replies are
// laid out with the Windows headers' own structures.
struct FakeDisk {
    std::string vendor, product, revision, serial;
    STORAGE_BUS_TYPE bus = BusTypeSata;
    bool alignmentFails = false;
    DWORD logical = 512, physical = 4096;
    DWORD geometryBytesPerSector = 512;
    DWORD geometryReturned = sizeof(DISK_GEOMETRY_EX);
    LONGLONG size = 1LL << 30;
    std::vector<uint8_t> sector0;
};

struct FakeVolume {
    DWORD deviceNumber = 0;
    DWORD partitionNumber = 1;
    zel::VolumeSpace space;
};

class FakeDeviceApi : public zel::DeviceApi {
public:
    std::map<int, FakeDisk> disks;
    std::map<char, FakeVolume> volumes;
    std::vector<zel::DeviceRecord> diskRecords, portRecords;
    std::map<uint32_t, std::vector<uint8_t>> pciConfig;  // by 0xCF8 address of dword 0
    bool portIoAvailable = true;
    std::vector<std::string> opened;

    FakeDeviceApi() { previous_ = zel::replaceDeviceApi(this); }
    ~FakeDeviceApi() override { zel::replaceDeviceApi(previous_); }

    HANDLE createFile(const char* path, DWORD, DWORD, DWORD, DWORD) override {
        opened.push_back(path);
        int number = -1;
        char letter = 0;
        if (sscanf(path, "\\\\.\\PhysicalDrive%d", &number) == 1 && disks.count(number)) return track(path);
        if (sscanf(path, "\\\\.\\%c:", &letter) == 1 && std::strlen(path) == 6 && volumes.count(letter))
            return track(path);
        SetLastError(ERROR_FILE_NOT_FOUND);
        return INVALID_HANDLE_VALUE;
    }
    BOOL closeHandle(HANDLE handle) override { return handles_.erase(handle) ? TRUE : FALSE; }

    BOOL deviceIoControl(HANDLE handle, DWORD code, void* in, DWORD, void* out, DWORD outSize, DWORD* returned,
                         OVERLAPPED*) override {
        const std::string& path = handles_.at(handle);
        *returned = 0;
        if (code == IOCTL_STORAGE_GET_DEVICE_NUMBER) return deviceNumber(path, out, outSize, returned);
        FakeDisk& disk = disks.at(std::atoi(path.c_str() + 17));
        if (code == IOCTL_DISK_GET_DRIVE_GEOMETRY_EX) return geometry(disk, out, returned);
        if (code != IOCTL_STORAGE_QUERY_PROPERTY) return fail(ERROR_INVALID_FUNCTION);
        const auto* query = static_cast<const STORAGE_PROPERTY_QUERY*>(in);
        if (query->PropertyId == StorageDeviceProperty) return descriptor(disk, out, outSize, returned);
        if (query->PropertyId == StorageAccessAlignmentProperty && !disk.alignmentFails) {
            auto* align = static_cast<STORAGE_ACCESS_ALIGNMENT_DESCRIPTOR*>(out);
            std::memset(align, 0, sizeof(*align));
            align->Version = align->Size = sizeof(*align);
            align->BytesPerLogicalSector = disk.logical;
            align->BytesPerPhysicalSector = disk.physical;
            *returned = sizeof(*align);
            return TRUE;
        }
        return fail(ERROR_NOT_SUPPORTED);
    }

    BOOL readFile(HANDLE handle, void* buffer, DWORD size, DWORD* done, OVERLAPPED*) override {
        FakeDisk& disk = disks.at(std::atoi(handles_.at(handle).c_str() + 17));
        std::vector<uint8_t> data = disk.sector0;
        data.resize(size);
        std::memcpy(buffer, data.data(), size);
        *done = size;
        return TRUE;
    }
    BOOL writeFile(HANDLE, const void*, DWORD, DWORD*, OVERLAPPED*) override { return fail(ERROR_ACCESS_DENIED); }
    BOOL setFilePointerEx(HANDLE, LARGE_INTEGER, LARGE_INTEGER*, DWORD) override { return TRUE; }
    BOOL getOverlappedResult(HANDLE, OVERLAPPED*, DWORD*, BOOL) override { return fail(ERROR_INVALID_FUNCTION); }
    BOOL flushFileBuffers(HANDLE) override { return TRUE; }

    DWORD getLogicalDrives() override {
        DWORD mask = 0;
        for (const auto& volume : volumes) mask |= 1u << (volume.first - 'A');
        return mask;
    }
    bool getVolumeSpace(char letter, zel::VolumeSpace* space) override {
        if (!volumes.count(letter)) return false;
        *space = volumes.at(letter).space;
        return true;
    }
    std::vector<zel::DeviceRecord> enumerateInterfaces(zel::InterfaceClass c) override {
        return c == zel::InterfaceClass::Disk ? diskRecords : portRecords;
    }

    bool portIoOpen() override { return portIoOpen_ = portIoAvailable; }
    bool portIoIsOpen() override { return portIoOpen_; }
    void portIoClose(bool) override { portIoOpen_ = false; }
    bool readPort(uint16_t port, uint32_t* value, uint8_t) override {
        if (!portIoOpen_ || port != 0xCFC) return false;
        auto it = pciConfig.find(address_ & ~0xFFu);
        const uint32_t offset = address_ & 0xFC;
        *value = 0xFFFFFFFF;
        if (it != pciConfig.end() && offset + 4 <= it->second.size()) std::memcpy(value, &it->second[offset], 4);
        return true;
    }
    bool writePort(uint16_t port, uint32_t value, uint8_t) override {
        if (!portIoOpen_ || port != 0xCF8) return false;
        address_ = value;
        return true;
    }
    bool readPhysicalDword(uint64_t, uint32_t*) override { return false; }
    bool writePhysicalDword(uint64_t, uint32_t) override { return false; }

private:
    HANDLE track(const char* path) {
        HANDLE handle = reinterpret_cast<HANDLE>(static_cast<uintptr_t>(0x1000 + 4 * nextHandle_++));
        handles_[handle] = path;
        return handle;
    }
    static BOOL fail(DWORD error) {
        SetLastError(error);
        return FALSE;
    }
    BOOL deviceNumber(const std::string& path, void* out, DWORD outSize, DWORD* returned) {
        if (outSize < sizeof(STORAGE_DEVICE_NUMBER)) return fail(ERROR_INSUFFICIENT_BUFFER);
        const FakeVolume& volume = volumes.at(path[4]);
        auto* number = static_cast<STORAGE_DEVICE_NUMBER*>(out);
        number->DeviceType = FILE_DEVICE_DISK;
        number->DeviceNumber = volume.deviceNumber;
        number->PartitionNumber = volume.partitionNumber;
        *returned = sizeof(*number);
        return TRUE;
    }
    BOOL geometry(const FakeDisk& disk, void* out, DWORD* returned) {
        auto* geometry = static_cast<DISK_GEOMETRY_EX*>(out);
        std::memset(geometry, 0, sizeof(*geometry));
        geometry->Geometry.BytesPerSector = disk.geometryBytesPerSector;
        geometry->DiskSize.QuadPart = disk.size;
        *returned = disk.geometryReturned;
        return TRUE;
    }
    BOOL descriptor(const FakeDisk& disk, void* out, DWORD outSize, DWORD* returned) {
        std::vector<uint8_t> bytes(sizeof(STORAGE_DEVICE_DESCRIPTOR) + 4, 0);
        auto place = [&](const std::string& text) -> DWORD {
            if (text.empty()) return 0;
            const DWORD at = static_cast<DWORD>(bytes.size());
            bytes.insert(bytes.end(), text.begin(), text.end());
            bytes.push_back(0);
            return at;
        };
        const DWORD vendor = place(disk.vendor), product = place(disk.product);
        const DWORD revision = place(disk.revision), serial = place(disk.serial);
        auto* desc = reinterpret_cast<STORAGE_DEVICE_DESCRIPTOR*>(bytes.data());
        desc->Version = sizeof(STORAGE_DEVICE_DESCRIPTOR);
        desc->Size = static_cast<DWORD>(bytes.size());
        desc->VendorIdOffset = vendor;
        desc->ProductIdOffset = product;
        desc->ProductRevisionOffset = revision;
        desc->SerialNumberOffset = serial;
        desc->BusType = disk.bus;
        if (bytes.size() > outSize) return fail(ERROR_MORE_DATA);
        std::memcpy(out, bytes.data(), bytes.size());
        *returned = static_cast<DWORD>(bytes.size());
        return TRUE;
    }

    zel::DeviceApi* previous_ = nullptr;
    std::map<HANDLE, std::string> handles_;
    int nextHandle_ = 1;
    uint32_t address_ = 0;
    bool portIoOpen_ = false;
};

}  // namespace zeltest
