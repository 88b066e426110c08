#include "disk/DiskProbe.h"

#include "core/ErrorCodes.h"
#include "core/TextFormat.h"
#include "disk/StorageLayouts.h"

namespace zel {
namespace {

class DeviceHandle {
public:
    DeviceHandle(const std::string& path, DWORD access)
        : handle_(deviceApi().createFile(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING,
                                         FILE_ATTRIBUTE_NORMAL)) {}
    ~DeviceHandle() {
        if (valid()) deviceApi().closeHandle(handle_);
    }
    DeviceHandle(const DeviceHandle&) = delete;
    DeviceHandle& operator=(const DeviceHandle&) = delete;
    bool valid() const { return handle_ != INVALID_HANDLE_VALUE && handle_ != nullptr; }
    HANDLE get() const { return handle_; }

private:
    HANDLE handle_;
};

bool queryProperty(HANDLE handle, uint32_t propertyId, std::vector<uint8_t>* out, DWORD* returned) {
    std::vector<uint8_t> query = makePropertyQuery(propertyId);
    out->assign(layout::kDescriptorBufferSize, 0);
    *returned = 0;
    return deviceApi().deviceIoControl(handle, layout::kIoctlStorageQueryProperty, query.data(),
                                       static_cast<DWORD>(query.size()), out->data(),
                                       static_cast<DWORD>(out->size()), returned, nullptr);
}

void readDescriptor(HANDLE handle, DiskIdentity* disk) {
    std::vector<uint8_t> buffer;
    DWORD returned = 0;
    if (!queryProperty(handle, layout::kStorageDeviceProperty, &buffer, &returned)) return;
    const DeviceDescriptorFields fields = parseDeviceDescriptor(buffer.data(), returned);
    disk->vendor = fields.vendor;
    disk->model = fields.product;
    disk->firmware = fields.revision;
    disk->serial = fields.serial;
    disk->busType = fields.busType;
}

void readAlignment(HANDLE handle, DiskIdentity* disk) {
    std::vector<uint8_t> buffer;
    DWORD returned = 0;
    uint32_t logical = 0, physical = 0;
    if (queryProperty(handle, layout::kStorageAccessAlignmentProperty, &buffer, &returned) &&
        parseAlignment(buffer.data(), returned, &logical, &physical)) {
        disk->logicalSectorSize = logical;
        disk->physicalSectorSize = physical;
    }
}

void readGeometry(HANDLE handle, DiskIdentity* disk) {
    uint8_t buffer[layout::kGeometryExSize] = {};
    DWORD returned = 0;
    uint64_t size = 0;
    uint32_t bytesPerSector = 0;
    if (!deviceApi().deviceIoControl(handle, layout::kIoctlDiskGetDriveGeometryEx, nullptr, 0, buffer,
                                     sizeof(buffer), &returned, nullptr) ||
        !parseGeometryEx(buffer, returned, &size, &bytesPerSector))
        return;
    if (disk->logicalSectorSize == 0) {
        disk->logicalSectorSize = bytesPerSector;
        disk->physicalSectorSize = bytesPerSector;
    }
    disk->capacity = size;
    disk->sectorCount = disk->logicalSectorSize ? size / disk->logicalSectorSize : 0;
}

bool letterOnDisk(char letter, int number) {
    DeviceHandle volume(formatText("\\\\.\\%c:", letter), GENERIC_READ);
    if (!volume.valid()) return false;
    uint8_t buffer[layout::kDeviceNumberSize] = {};
    DWORD returned = 0;
    if (!deviceApi().deviceIoControl(volume.get(), layout::kIoctlStorageGetDeviceNumber, nullptr, 0, buffer,
                                     sizeof(buffer), &returned, nullptr))
        return false;
    const DeviceNumberFields fields = parseDeviceNumber(buffer);
    return fields.partitionNumber != 0xFFFFFFFF && fields.deviceNumber == static_cast<uint32_t>(number);
}

}  // namespace

std::vector<DeviceRecord> controllerRecords() {
    std::vector<DeviceRecord> disks = deviceApi().enumerateInterfaces(InterfaceClass::Disk);
    const std::vector<DeviceRecord> ports = deviceApi().enumerateInterfaces(InterfaceClass::StoragePort);
    for (DeviceRecord& disk : disks) {
        for (const DeviceRecord& port : ports) {
            if (port.instanceId.empty() || disk.instanceId.find(port.instanceId) == std::string::npos) continue;
            const uint32_t number = disk.diskNumber;
            const std::string instanceId = disk.instanceId;
            disk = port;
            disk.diskNumber = number;
            disk.instanceId = instanceId;
            break;
        }
    }
    return disks;
}

std::optional<DiskIdentity> probeDisk(int number) {
    DeviceHandle drive(formatText("\\\\.\\PhysicalDrive%d", number), GENERIC_READ | GENERIC_WRITE);
    if (!drive.valid()) return std::nullopt;
    DiskIdentity disk;
    disk.number = number;
    readDescriptor(drive.get(), &disk);
    readAlignment(drive.get(), &disk);
    readGeometry(drive.get(), &disk);
    return disk;
}

void assignDriveLetters(DiskIdentity* disk, DWORD* mask) {
    for (char letter = 'C'; letter <= 'Z'; ++letter) {
        const DWORD bit = 1u << (letter - 'A');
        if (!(*mask & bit) || !letterOnDisk(letter, disk->number)) continue;
        DriveLetter entry;
        entry.letter = letter;
        VolumeSpace space;
        if (deviceApi().getVolumeSpace(letter, &space)) {
            entry.totalBytes = space.total;
            entry.freeBytes = space.free;
        }
        disk->letters.push_back(entry);
        *mask &= ~bit;
    }
}

void applyControllerRecord(DiskIdentity* disk, const std::vector<DeviceRecord>& records) {
    for (const DeviceRecord& record : records) {
        if (record.diskNumber != static_cast<uint32_t>(disk->number)) continue;
        disk->instanceId = record.instanceId;
        disk->providerName = record.providerName;
        disk->driverVersion = record.driverVersion;
        disk->infPath = record.infPath;
        disk->pciBus = record.pciBus;
        disk->pciDevice = record.pciDevice;
        disk->pciFunction = record.pciFunction;
        return;
    }
}

}  // namespace zel
