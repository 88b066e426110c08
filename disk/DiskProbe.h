#pragma once

#include <windows.h>

#include <optional>
#include <vector>

#include "core/DeviceApi.h"
#include "disk/DiskTypes.h"

namespace zel {

// Disk records of the device manager with each disk's controller details
// (the storage port whose instance id its own contains) put in place.
std::vector<DeviceRecord> controllerRecords();

// Opens "\\.\PhysicalDrive<number>" and reads its descriptor, alignment and
// geometry. Nothing when the number cannot be opened.
std::optional<DiskIdentity> probeDisk(int number);

// Hands the letters still set in mask whose volume lies on the disk to it,
// clearing their bits.
void assignDriveLetters(DiskIdentity* disk, DWORD* mask);

// Provider, driver and PCI location from the record of the disk's number.
void applyControllerRecord(DiskIdentity* disk, const std::vector<DeviceRecord>& records);

}  // namespace zel
