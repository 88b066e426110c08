#pragma once

#include "disk/DiskBase.h"
#include "disk/DriveRecords.h"

namespace zel {

class IniFile;

// How a disk shows itself: the console/log block, the [Disk%d] INI section and
// its "drive_info_list" entry in the JSON result file.
void printDiskInformation(const DiskBase& disk);
bool writeDiskInformation(const DiskBase& disk, IniFile& ini);
DriveInfo toDriveInfo(const DiskBase& disk);

}  // namespace zel
