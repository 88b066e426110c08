#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "disk/StorageLayouts.h"

namespace {

TEST(StorageLayouts, DescriptorAlignmentAndGeometryAnswers) {
    // Header of 36 bytes, then "AB\0" at 36 and "XYZ\0" at 39; no revision.
    std::vector<uint8_t> bytes(44, 0);
    bytes[12] = 36;
    bytes[16] = 39;
    bytes[24] = 39;
    bytes[28] = 17;
    const char strings[] = "AB\0XYZ";
    std::copy(strings, strings + 7, bytes.begin() + 36);
    zel::DeviceDescriptorFields f = zel::parseDeviceDescriptor(bytes.data(), 43);
    EXPECT_EQ(std::make_tuple(f.vendor, f.product, f.revision, f.serial, f.busType),
              std::make_tuple("AB", "XYZ", "", "XYZ", 17u));
    // A string running past the returned bytes ends there; offsets beyond are empty.
    f = zel::parseDeviceDescriptor(bytes.data(), 41);
    EXPECT_EQ(f.product, "XY");
    bytes[12] = 200;
    EXPECT_EQ(zel::parseDeviceDescriptor(bytes.data(), 43).vendor, "");

    // The values as the disk list reads them through the virtual host are
    // checked in DiskListTest.cpp; here the answers too short to read.
    uint8_t align[28] = {};
    align[17] = 0x10;  // 4096
    align[20] = 0x00;
    align[21] = 0x02;  // 512
    uint32_t logical = 0, physical = 0;
    ASSERT_TRUE(zel::parseAlignment(align, 28, &logical, &physical));
    EXPECT_EQ(std::make_pair(logical, physical), std::make_pair(4096u, 512u));
    EXPECT_FALSE(zel::parseAlignment(align, 20, &logical, &physical));

    uint8_t geometry[40] = {};
    geometry[21] = 0x02;                   // 512 bytes per sector
    geometry[24 + 4] = 0x01;               // 2^32 bytes
    geometry[24 + 0] = 0x00;
    uint64_t size = 0;
    uint32_t bps = 0;
    ASSERT_TRUE(zel::parseGeometryEx(geometry, 40, &size, &bps));
    EXPECT_EQ(std::make_pair(size, bps), std::make_pair(uint64_t{1} << 32, 512u));
    EXPECT_FALSE(zel::parseGeometryEx(geometry, 39, &size, &bps));
}

}  // namespace
