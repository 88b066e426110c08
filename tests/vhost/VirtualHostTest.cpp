#include <gtest/gtest.h>
#include <windows.h>
#include <winioctl.h>

#include <cstring>
#include <vector>

#include "core/DriveOpener.h"
#include "tests/support/InstalledHost.h"
#include "tests/support/TestHosts.h"

using zeltest::InstalledHost;

namespace {

std::string stringAt(const std::vector<uint8_t>& buffer, DWORD offset) {
    return offset ? std::string(reinterpret_cast<const char*>(buffer.data() + offset)) : std::string();
}

}  // namespace

TEST(VirtualHostDrive, DescriptorAlignmentGeometryAndAddress) {
    InstalledHost installed(zeltest::routeHost(R"("logicalSectorSize": 4096, "sectorCount": 16384)", 5));
    zel::SharedHandle drive = zel::openPhysicalDrive(5, FILE_ATTRIBUTE_NORMAL);
    ASSERT_TRUE(drive);
    zel::DeviceApi& api = zel::deviceApi();

    STORAGE_PROPERTY_QUERY query{};
    query.PropertyId = StorageDeviceProperty;
    query.QueryType = PropertyStandardQuery;
    std::vector<uint8_t> buffer(1024);
    DWORD returned = 0;
    ASSERT_TRUE(api.deviceIoControl(drive.get(), IOCTL_STORAGE_QUERY_PROPERTY, &query, 12, buffer.data(), 1024,
                                    &returned, nullptr));
    const auto* descriptor = reinterpret_cast<const STORAGE_DEVICE_DESCRIPTOR*>(buffer.data());
    EXPECT_EQ(descriptor->Version, sizeof(STORAGE_DEVICE_DESCRIPTOR));
    EXPECT_EQ(descriptor->Size, returned);
    EXPECT_EQ(descriptor->BusType, BusTypeUsb);
    EXPECT_TRUE(descriptor->RemovableMedia);
    EXPECT_EQ(stringAt(buffer, descriptor->VendorIdOffset), "Stick");
    EXPECT_EQ(stringAt(buffer, descriptor->ProductIdOffset), "USB DISK");
    EXPECT_EQ(stringAt(buffer, descriptor->ProductRevisionOffset), "1.00");
    EXPECT_EQ(stringAt(buffer, descriptor->SerialNumberOffset), "USB0005");

    query.PropertyId = StorageAccessAlignmentProperty;
    STORAGE_ACCESS_ALIGNMENT_DESCRIPTOR alignment{};
    ASSERT_TRUE(api.deviceIoControl(drive.get(), IOCTL_STORAGE_QUERY_PROPERTY, &query, 12, &alignment,
                                    sizeof alignment, &returned, nullptr));
    EXPECT_EQ(alignment.BytesPerLogicalSector, 4096u);
    EXPECT_EQ(alignment.BytesPerPhysicalSector, 4096u);

    DISK_GEOMETRY_EX geometry{};
    ASSERT_TRUE(api.deviceIoControl(drive.get(), IOCTL_DISK_GET_DRIVE_GEOMETRY_EX, nullptr, 0, &geometry, 40,
                                    &returned, nullptr));
    EXPECT_EQ(returned, 40u);
    EXPECT_EQ(geometry.DiskSize.QuadPart, 16384LL * 4096);
    EXPECT_EQ(geometry.Geometry.BytesPerSector, 4096u);
    EXPECT_EQ(geometry.Geometry.MediaType, RemovableMedia);

    uint8_t address[8] = {};
    ASSERT_TRUE(api.deviceIoControl(drive.get(), 0x41018, nullptr, 0, address, 8, &returned, nullptr));
    EXPECT_EQ(returned, 8u);
    EXPECT_EQ(address[4], 5) << "port number";

    query.PropertyId = static_cast<STORAGE_PROPERTY_ID>(99);
    EXPECT_FALSE(api.deviceIoControl(drive.get(), IOCTL_STORAGE_QUERY_PROPERTY, &query, 12, buffer.data(), 1024,
                                     &returned, nullptr));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_FUNCTION));
}

TEST(VirtualHostDrive, OpensOnlyDescribedDisksAndClosesItsTokens) {
    InstalledHost installed(zeltest::routeHost());
    zel::DeviceApi& api = zel::deviceApi();
    HANDLE missing = api.createFile("\\\\.\\PhysicalDrive9", GENERIC_READ, 3, OPEN_EXISTING, 0);
    EXPECT_EQ(missing, INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
    HANDLE first = api.createFile("\\\\.\\physicaldrive0", GENERIC_READ, 3, OPEN_EXISTING, 0);
    HANDLE second = api.createFile("\\\\.\\PhysicalDrive0", GENERIC_READ, 3, OPEN_EXISTING, 0);
    ASSERT_NE(first, INVALID_HANDLE_VALUE);
    ASSERT_NE(second, INVALID_HANDLE_VALUE);
    EXPECT_NE(first, second);
    EXPECT_EQ(installed.host().openHandleCount(), 2u);
    EXPECT_TRUE(api.closeHandle(first));
    EXPECT_TRUE(api.closeHandle(second));
    EXPECT_EQ(installed.host().openHandleCount(), 0u);
    EXPECT_FALSE(api.closeHandle(first)) << "a closed token is no longer the host's and not a valid handle";
    HANDLE port = api.createFile("\\\\.\\SCSI3:", GENERIC_READ | GENERIC_WRITE, 3, OPEN_EXISTING, 0);
    EXPECT_NE(port, INVALID_HANDLE_VALUE);
    api.closeHandle(port);
    EXPECT_EQ(api.createFile("\\\\.\\SCSI7:", GENERIC_READ, 3, OPEN_EXISTING, 0), INVALID_HANDLE_VALUE);
}
