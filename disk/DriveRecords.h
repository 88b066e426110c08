#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/ActionResultJson.h"

namespace zel {

// Entries of "drive_info_list" as the JSON result file carries them.
struct PartitionInfo {
    std::string driveLetter;
    uint64_t capacity = 0;
    uint64_t freeSpace = 0;
};

struct DiskInfo {
    uint32_t id = 0;
    uint64_t capacity = 0;
    uint64_t sectorCount = 0;
    uint32_t sectorSize = 0;
    std::vector<PartitionInfo> partitions;
    // "smart_info" as the smart action stored it; null until then.
    Json smartInfo;
};

struct DriveInfo {
    std::string model, sn, fwRev;
    int32_t diskType = 0;
    int32_t protocolType = 0;
    uint32_t bus = 0, dev = 0, fun = 0, vid = 0, did = 0;
    std::string hwid;
    uint64_t baseAddr = 0;
    uint32_t linkSpeed = 0, linkWidth = 0;
    std::string linkStr;
    uint32_t mps = 0;
    std::string mpsStr;
    uint32_t pxcapOffset = 0, pmcapOffset = 0;
    std::vector<DiskInfo> disks;
};

void to_json(Json& j, const PartitionInfo& p);
void from_json(const Json& j, PartitionInfo& p);
void to_json(Json& j, const DiskInfo& d);
void from_json(const Json& j, DiskInfo& d);
void to_json(Json& j, const DriveInfo& d);
void from_json(const Json& j, DriveInfo& d);

// "drive_info_list" of a result document; empty when the document has none.
std::vector<DriveInfo> readDriveInfoList(const Json& document);
void writeDriveInfoList(Json& document, const std::vector<DriveInfo>& drives);

}  // namespace zel
