#include "disk/DriveRecords.h"

namespace zel {

void to_json(Json& j, const PartitionInfo& p) {
    j = Json{{"drive_letter", p.driveLetter}, {"capacity", p.capacity}, {"free_space", p.freeSpace}};
}

void from_json(const Json& j, PartitionInfo& p) {
    j.at("drive_letter").get_to(p.driveLetter);
    j.at("capacity").get_to(p.capacity);
    j.at("free_space").get_to(p.freeSpace);
}

void to_json(Json& j, const DiskInfo& d) {
    j = Json{{"id", d.id},
             {"capacity", d.capacity},
             {"sector_count", d.sectorCount},
             {"sector_size", d.sectorSize},
             {"part_info_list", d.partitions}};
    if (!d.smartInfo.is_null()) j["smart_info"] = d.smartInfo;
}

void from_json(const Json& j, DiskInfo& d) {
    j.at("id").get_to(d.id);
    j.at("capacity").get_to(d.capacity);
    j.at("sector_count").get_to(d.sectorCount);
    j.at("sector_size").get_to(d.sectorSize);
    j.at("part_info_list").get_to(d.partitions);
    if (j.contains("smart_info")) d.smartInfo = j.at("smart_info");
}

void to_json(Json& j, const DriveInfo& d) {
    j = Json{{"model", d.model},
             {"sn", d.sn},
             {"fw_rev", d.fwRev},
             {"disk_type", d.diskType},
             {"protocol_type", d.protocolType},
             {"bus", d.bus},
             {"dev", d.dev},
             {"fun", d.fun},
             {"vid", d.vid},
             {"did", d.did},
             {"hwid", d.hwid},
             {"base_addr", d.baseAddr},
             {"link_speed", d.linkSpeed},
             {"link_width", d.linkWidth},
             {"link_str", d.linkStr},
             {"mps", d.mps},
             {"mps_str", d.mpsStr},
             {"pxcap_offset", d.pxcapOffset},
             {"pmcap_offset", d.pmcapOffset},
             {"disk_info_list", d.disks}};
}

void from_json(const Json& j, DriveInfo& d) {
    j.at("model").get_to(d.model);
    j.at("sn").get_to(d.sn);
    j.at("fw_rev").get_to(d.fwRev);
    j.at("disk_type").get_to(d.diskType);
    j.at("protocol_type").get_to(d.protocolType);
    j.at("bus").get_to(d.bus);
    j.at("dev").get_to(d.dev);
    j.at("fun").get_to(d.fun);
    j.at("vid").get_to(d.vid);
    j.at("did").get_to(d.did);
    j.at("hwid").get_to(d.hwid);
    j.at("base_addr").get_to(d.baseAddr);
    j.at("link_speed").get_to(d.linkSpeed);
    j.at("link_width").get_to(d.linkWidth);
    j.at("link_str").get_to(d.linkStr);
    j.at("mps").get_to(d.mps);
    j.at("mps_str").get_to(d.mpsStr);
    j.at("pxcap_offset").get_to(d.pxcapOffset);
    j.at("pmcap_offset").get_to(d.pmcapOffset);
    j.at("disk_info_list").get_to(d.disks);
}

std::vector<DriveInfo> readDriveInfoList(const Json& document) {
    if (!document.contains("drive_info_list")) return {};
    return document.at("drive_info_list").get<std::vector<DriveInfo>>();
}

void writeDriveInfoList(Json& document, const std::vector<DriveInfo>& drives) {
    document["drive_info_list"] = drives;
}

}  // namespace zel
