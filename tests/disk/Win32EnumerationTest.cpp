#include <gtest/gtest.h>

#include <initguid.h>
#include <windows.h>
#include <winioctl.h>

#include "core/Win32DeviceApi.h"

namespace {

TEST(Win32Enumeration, InterfaceClassTextsParseToTheHeadersGuids) {
    GUID disk{}, port{};
    ASSERT_TRUE(zel::parseGuidText(zel::kDiskInterfaceGuidText, &disk));
    ASSERT_TRUE(zel::parseGuidText(zel::kStoragePortInterfaceGuidText, &port));
    EXPECT_TRUE(IsEqualGUID(disk, GUID_DEVINTERFACE_DISK));
    EXPECT_TRUE(IsEqualGUID(port, GUID_DEVINTERFACE_STORAGEPORT));
    GUID bad{};
    EXPECT_FALSE(zel::parseGuidText("53F56307-B6BF-11D0-94F2", &bad));

    // Wine has no storage controllers to speak of; whatever it lists must be
    // complete records.
    zel::Win32DeviceApi api;
    for (const zel::DeviceRecord& record : api.enumerateInterfaces(zel::InterfaceClass::Disk))
        EXPECT_FALSE(record.instanceId.empty());
    EXPECT_FALSE(api.portIoIsOpen());
}

}  // namespace
