#include <gtest/gtest.h>

#include "disk/DriveRecords.h"

namespace {

// Values only where the round trip looks at them; the types are the fields' own.
zel::DriveInfo sampleDrive() {
    zel::DriveInfo drive;
    drive.baseAddr = 0xFE000000ULL;
    zel::DiskInfo disk;
    disk.sectorCount = 1953525168ULL;
    disk.partitions.push_back({"D", 999ULL << 30, 12345});
    drive.disks.push_back(disk);
    return drive;
}

}  // namespace

TEST(DriveRecords, KeysInOrderAndListRoundTrips) {
    zel::Json document = zel::Json::object();
    EXPECT_TRUE(zel::readDriveInfoList(document).empty());
    zel::writeDriveInfoList(document, {sampleDrive()});
    const zel::Json& drive = document["drive_info_list"][0];
    const char* order[] = {"model", "sn", "fw_rev", "disk_type", "protocol_type", "bus", "dev", "fun", "vid", "did",
                           "hwid", "base_addr", "link_speed", "link_width", "link_str", "mps", "mps_str",
                           "pxcap_offset", "pmcap_offset", "disk_info_list"};
    size_t i = 0;
    for (auto it = drive.begin(); it != drive.end(); ++it, ++i) EXPECT_EQ(it.key(), order[i]);
    EXPECT_EQ(i, 20u);

    auto back = zel::readDriveInfoList(zel::Json::parse(document.dump()));
    ASSERT_EQ(back.size(), 1u);
    EXPECT_EQ(back[0].baseAddr, 0xFE000000ULL);
    EXPECT_EQ(back[0].disks[0].partitions[0].driveLetter, "D");
    EXPECT_EQ(back[0].disks[0].sectorCount, 1953525168ULL);
}

TEST(DriveRecords, StoredSmartInfoSurvivesARoundTrip) {
    zel::Json drive = sampleDrive();
    EXPECT_FALSE(drive["disk_info_list"][0].contains("smart_info")) << "absent until the smart action stores it";
    drive["disk_info_list"][0]["smart_info"] = {{"attr_1", 7}};
    zel::Json again = drive.get<zel::DriveInfo>();
    EXPECT_EQ(again["disk_info_list"][0]["smart_info"]["attr_1"], 7);
}

TEST(DriveRecords, ValueTypesAreAsDocumented) {
    zel::Json drive = sampleDrive();
    for (const char* key : {"model", "sn", "fw_rev", "hwid", "link_str", "mps_str"})
        EXPECT_TRUE(drive[key].is_string()) << key;
    for (const char* key : {"disk_type", "protocol_type"}) {
        EXPECT_TRUE(drive[key].is_number_integer()) << key;
        EXPECT_FALSE(drive[key].is_number_unsigned()) << key;
    }
    for (const char* key : {"bus", "dev", "fun", "vid", "did", "base_addr", "link_speed", "link_width", "mps",
                            "pxcap_offset", "pmcap_offset"})
        EXPECT_TRUE(drive[key].is_number_unsigned()) << key;
    const zel::Json& disk = drive["disk_info_list"][0];
    for (const char* key : {"id", "capacity", "sector_count", "sector_size"})
        EXPECT_TRUE(disk[key].is_number_unsigned()) << key;
    const zel::Json& part = disk["part_info_list"][0];
    EXPECT_TRUE(part["drive_letter"].is_string());
    EXPECT_TRUE(part["capacity"].is_number_unsigned());
    EXPECT_TRUE(part["free_space"].is_number_unsigned());
}

TEST(DriveRecords, WrongTypeRaisesTheLibraryTypeError) {
    zel::Json drive = sampleDrive();
    drive["model"] = 5;
    try {
        (void)drive.get<zel::DriveInfo>();
        FAIL() << "no exception";
    } catch (const nlohmann::json::type_error& e) {
        EXPECT_NE(std::string(e.what()).find("type must be string, but is number"), std::string::npos);
    }
}
