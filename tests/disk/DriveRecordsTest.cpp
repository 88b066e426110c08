#include <gtest/gtest.h>

#include "disk/DriveRecords.h"

namespace {

// Values only where the round trip looks at them; the types are the fields' own.
zel::DriveInfo sampleDrive() {
    zel::DriveInfo drive;
    drive.model = "M";
    drive.protocolType = -1;
    drive.baseAddr = 0xFE000000ULL;
    zel::DiskInfo disk;
    disk.sectorCount = 1953525168ULL;
    disk.partitions.push_back({"D", 999ULL << 30, 12345});
    drive.disks.push_back(disk);
    return drive;
}

// Each key with its JSON type: s string, i signed, u unsigned, a array, o object.
std::string keysAndTypes(const zel::Json& record) {
    std::string text;
    for (auto it = record.begin(); it != record.end(); ++it) {
        const zel::Json& v = *it;
        const char* type = v.is_string() ? "s" : v.is_number_unsigned() ? "u" : v.is_number_integer() ? "i"
                           : v.is_array() ? "a" : "o";
        text += (text.empty() ? "" : " ") + it.key() + ":" + type;
    }
    return text;
}

}  // namespace

TEST(DriveRecords, KeysInOrderWithTheirTypesAndTheRoundTrip) {
    zel::Json document = zel::Json::object();
    EXPECT_TRUE(zel::readDriveInfoList(document).empty());
    zel::writeDriveInfoList(document, {sampleDrive()});
    zel::Json& drive = document["drive_info_list"][0];
    zel::Json& disk = drive["disk_info_list"][0];
    EXPECT_EQ(keysAndTypes(drive), "model:s sn:s fw_rev:s disk_type:i protocol_type:i bus:u dev:u fun:u vid:u did:u "
                                   "hwid:s base_addr:u link_speed:u link_width:u link_str:s mps:u mps_str:s "
                                   "pxcap_offset:u pmcap_offset:u disk_info_list:a");
    EXPECT_EQ(keysAndTypes(disk), "id:u capacity:u sector_count:u sector_size:u part_info_list:a")
        << "no smart_info until the smart action stores it";
    EXPECT_EQ(keysAndTypes(disk["part_info_list"][0]), "drive_letter:s capacity:u free_space:u");

    disk["smart_info"] = {{"attr_1", 7}};
    const std::vector<zel::DriveInfo> back = zel::readDriveInfoList(zel::Json::parse(document.dump()));
    ASSERT_EQ(back.size(), 1u);
    EXPECT_EQ(zel::Json(back[0]), drive) << "every field, the stored smart_info too, comes back";

    drive["model"] = 5;
    try {
        (void)drive.get<zel::DriveInfo>();
        FAIL() << "no exception";
    } catch (const nlohmann::json::type_error& e) {
        EXPECT_NE(std::string(e.what()).find("type must be string, but is number"), std::string::npos);
    }
}
