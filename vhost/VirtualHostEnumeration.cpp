// Drive letters, volumes and device-manager records of the virtual host.
#include <windows.h>
#include <winioctl.h>

#include <cctype>
#include <cstring>

#include "core/TextFormat.h"
#include "vhost/VirtualHost.h"

namespace zel {
namespace vhost {
namespace {

bool usable(VirtualDisk& disk) { return !disk.hidden(); }

DeviceRecord diskRecord(const DiskDescription& disk) {
    DeviceRecord record;
    record.diskNumber = static_cast<uint32_t>(disk.number);
    record.instanceId = formatText("SCSI\\DISK&VEN_%s&PROD_%s\\%d", disk.vendor.c_str(), disk.model.c_str(),
                                   disk.number) +
                        "\n" + disk.driver.instanceId;
    // The disk driver's own details; the controller's replace them.
    record.providerName = "Microsoft";
    record.driverVersion = "10.0.19041.1";
    record.infPath = "disk.inf";
    return record;
}

DeviceRecord portRecord(const DiskDescription& disk) {
    DeviceRecord record;
    record.instanceId = disk.driver.instanceId;
    record.providerName = disk.driver.provider;
    record.driverVersion = disk.driver.version;
    record.infPath = disk.driver.infPath;
    if (disk.pci.present) {
        record.pciBus = disk.pci.bus;
        record.pciDevice = disk.pci.device;
        record.pciFunction = disk.pci.function;
    }
    return record;
}

}  // namespace

bool VirtualHost::volumeLetter(const char* path, char* letter) {
    if (std::strlen(path) != 6 || std::strncmp(path, "\\\\.\\", 4) != 0 || path[5] != ':') return false;
    if (!std::isalpha(static_cast<unsigned char>(path[4]))) return false;
    *letter = static_cast<char>(std::toupper(static_cast<unsigned char>(path[4])));
    return true;
}

const VolumeDescription* VirtualHost::volume(char letter, int* diskNumber) {
    for (auto& disk : disks_) {
        if (!usable(*disk)) continue;
        for (const VolumeDescription& volume : changes_.volumes(disk->description())) {
            if (volume.letter != letter) continue;
            if (diskNumber) *diskNumber = disk->number();
            return &volume;
        }
    }
    return nullptr;
}

HANDLE VirtualHost::openVolume(char letter, DWORD access) {
    int number = -1;
    if (!volume(letter, &number)) {
        ::SetLastError(ERROR_FILE_NOT_FOUND);
        return INVALID_HANDLE_VALUE;
    }
    OpenHandle entry;
    entry.kind = OpenHandle::Kind::Volume;
    entry.disk = number;
    entry.letter = letter;
    entry.access = access;
    return issueHandle(entry);
}

BOOL VirtualHost::volumeIoctl(OpenHandle& entry, DWORD code, uint8_t* out, DWORD outSize, DWORD* returned) {
    if (code != IOCTL_STORAGE_GET_DEVICE_NUMBER) return failWith(ERROR_INVALID_FUNCTION);
    if (outSize < sizeof(STORAGE_DEVICE_NUMBER)) return failWith(ERROR_INSUFFICIENT_BUFFER);
    VirtualDisk* target = disk(entry.disk);
    if (!target || !usable(*target)) return failWith(ERROR_NOT_READY);
    // Volumes are numbered on their disk in description order, from 1.
    DWORD partition = 0;
    for (const VolumeDescription& volume : changes_.volumes(target->description())) {
        ++partition;
        if (volume.letter == entry.letter) break;
    }
    STORAGE_DEVICE_NUMBER number{};
    number.DeviceType = FILE_DEVICE_DISK;
    number.DeviceNumber = static_cast<DWORD>(entry.disk);
    number.PartitionNumber = partition;
    std::memcpy(out, &number, sizeof(number));
    *returned = sizeof(number);
    return TRUE;
}

DWORD VirtualHost::getLogicalDrives() {
    std::lock_guard<std::recursive_mutex> guard(lock_);
    refreshChanges();
    DWORD mask = 0;
    for (char letter = 'A'; letter <= 'Z'; ++letter)
        if (volume(letter, nullptr)) mask |= 1u << (letter - 'A');
    return mask;
}

bool VirtualHost::getVolumeSpace(char letter, VolumeSpace* space) {
    std::lock_guard<std::recursive_mutex> guard(lock_);
    refreshChanges();
    const VolumeDescription* found =
        volume(static_cast<char>(std::toupper(static_cast<unsigned char>(letter))), nullptr);
    if (!found) {
        ::SetLastError(ERROR_PATH_NOT_FOUND);
        return false;
    }
    space->total = found->totalBytes;
    usedBytes_.erase(found->letter);  // files may have changed since, in this process or another
    space->free = freeBytes(found->letter, *found);
    return true;
}

std::vector<DeviceRecord> VirtualHost::enumerateInterfaces(InterfaceClass interfaceClass) {
    std::lock_guard<std::recursive_mutex> guard(lock_);
    refreshChanges();
    std::vector<DeviceRecord> records;
    for (auto& disk : disks_) {
        if (!usable(*disk)) continue;
        const DiskDescription& description = disk->description();
        if (interfaceClass == InterfaceClass::Disk)
            records.push_back(diskRecord(description));
        else if (!description.driver.provider.empty())
            records.push_back(portRecord(description));
    }
    return records;
}

}  // namespace vhost
}  // namespace zel
