#include <gtest/gtest.h>

#include "protocol/PortPath.h"
#include "tests/support/InstalledHost.h"
#include "tests/support/TestHosts.h"

TEST(PortPath, AddressOfTheDriveOrNothing) {
    zeltest::InstalledHost installed(zeltest::routeHost(R"("scsiAddress": {"port": 12, "path": 1, "target": 3, "lun": 2})", 2));
    uint8_t port = 0xEE, path = 0xEE, target = 0xEE, lun = 0xEE;
    EXPECT_EQ(zel::findPortPath(2, &port, &path, &target, &lun), "\\\\.\\SCSI12:");
    EXPECT_EQ(port, 12);
    EXPECT_EQ(path, 1);
    EXPECT_EQ(target, 3);
    EXPECT_EQ(lun, 2);
    EXPECT_EQ(installed.host().lastRequest().ioctl, 0x41018u);
    EXPECT_EQ(installed.host().openHandleCount(), 0u) << "the drive handle is closed again";

    port = path = target = lun = 0xEE;
    EXPECT_EQ(zel::findPortPath(40, &port, &path, &target, &lun), "");
    EXPECT_EQ(port, 0xEE);
    EXPECT_EQ(lun, 0xEE);
    EXPECT_EQ(zel::findPortPath(0), "\\\\.\\SCSI0:") << "out-parameters are optional";
}
