#include "disk/DriveRecords.h"

namespace zel {
namespace {

// Each record's keys in file order, with the member each one holds; the
// same list writes and reads a record (the last argument picks the record).
template <typename Record, typename Visit>
void eachField(Record& p, Visit&& visit, PartitionInfo*) {
    visit("drive_letter", p.driveLetter);
    visit("capacity", p.capacity);
    visit("free_space", p.freeSpace);
}

template <typename Record, typename Visit>
void eachField(Record& d, Visit&& visit, DiskInfo*) {
    visit("id", d.id);
    visit("capacity", d.capacity);
    visit("sector_count", d.sectorCount);
    visit("sector_size", d.sectorSize);
    visit("part_info_list", d.partitions);
}

template <typename Record, typename Visit>
void eachField(Record& d, Visit&& visit, DriveInfo*) {
    visit("model", d.model);
    visit("sn", d.sn);
    visit("fw_rev", d.fwRev);
    visit("disk_type", d.diskType);
    visit("protocol_type", d.protocolType);
    visit("bus", d.bus);
    visit("dev", d.dev);
    visit("fun", d.fun);
    visit("vid", d.vid);
    visit("did", d.did);
    visit("hwid", d.hwid);
    visit("base_addr", d.baseAddr);
    visit("link_speed", d.linkSpeed);
    visit("link_width", d.linkWidth);
    visit("link_str", d.linkStr);
    visit("mps", d.mps);
    visit("mps_str", d.mpsStr);
    visit("pxcap_offset", d.pxcapOffset);
    visit("pmcap_offset", d.pmcapOffset);
    visit("disk_info_list", d.disks);
}

template <typename Record>
void writeFields(Json& j, const Record& record) {
    j = Json::object();
    const auto put = [&j](const char* key, const auto& value) { j[key] = value; };
    eachField(record, put, static_cast<Record*>(nullptr));
}

// A missing key throws, as a record without it is not one of ours.
template <typename Record>
void readFields(const Json& j, Record& record) {
    const auto take = [&j](const char* key, auto& value) { j.at(key).get_to(value); };
    eachField(record, take, static_cast<Record*>(nullptr));
}

}  // namespace

void to_json(Json& j, const PartitionInfo& p) { writeFields(j, p); }
void from_json(const Json& j, PartitionInfo& p) { readFields(j, p); }

void to_json(Json& j, const DiskInfo& d) {
    writeFields(j, d);
    if (!d.smartInfo.is_null()) j["smart_info"] = d.smartInfo;
}

void from_json(const Json& j, DiskInfo& d) {
    readFields(j, d);
    if (j.contains("smart_info")) d.smartInfo = j.at("smart_info");
}

void to_json(Json& j, const DriveInfo& d) { writeFields(j, d); }
void from_json(const Json& j, DriveInfo& d) { readFields(j, d); }

std::vector<DriveInfo> readDriveInfoList(const Json& document) {
    if (!document.contains("drive_info_list")) return {};
    return document.at("drive_info_list").get<std::vector<DriveInfo>>();
}

void writeDriveInfoList(Json& document, const std::vector<DriveInfo>& drives) {
    document["drive_info_list"] = drives;
}

}  // namespace zel
