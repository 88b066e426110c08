#include <gtest/gtest.h>

#include <tuple>

#include "protocol/PortPath.h"
#include "tests/support/InstalledHost.h"
#include "tests/support/TestHosts.h"

TEST(PortPath, AddressOfTheDriveOrNothing) {
    zeltest::InstalledHost installed(zeltest::routeHost(R"("scsiAddress": {"port": 12, "path": 1, "target": 3, "lun": 2})", 2));
    uint8_t port = 0xEE, path = 0xEE, target = 0xEE, lun = 0xEE;
    EXPECT_EQ(zel::findPortPath(2, &port, &path, &target, &lun), "\\\\.\\SCSI12:");
    // The address asked with IOCTL_SCSI_GET_ADDRESS, and the drive handle closed again.
    EXPECT_EQ(std::make_tuple(+port, +path, +target, +lun, installed.host().lastRequest().ioctl,
                              installed.host().openHandleCount()), std::make_tuple(12, 1, 3, 2, 0x41018u, size_t{0}));

    port = path = target = lun = 0xEE;
    EXPECT_EQ(zel::findPortPath(40, &port, &path, &target, &lun), "");
    EXPECT_EQ(std::make_pair(+port, +lun), std::make_pair(0xEE, 0xEE)) << "left alone";
    EXPECT_EQ(zel::findPortPath(0), "\\\\.\\SCSI0:") << "out-parameters are optional";
}
