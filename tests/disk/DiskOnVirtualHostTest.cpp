#include <gtest/gtest.h>

#include <cstring>

#include "disk/DiskKinds.h"
#include "disk/DiskList.h"
#include "disk/PortIoDriver.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/Commands.h"
#include "tests/support/InstalledHost.h"
#include "tests/support/TestHosts.h"

namespace {

class DiskOnVirtualHost : public ::testing::Test {
protected:
    void SetUp() override { reset(); }
    void TearDown() override { reset(); }
    static void reset() {
        zel::DiskList::instance().reset();
        zel::DiskList::instance().useConfiguration({});
        zel::PortIoDriver::instance().closeAndRemove();
    }
};

TEST_F(DiskOnVirtualHost, DeviceCommandsThroughEachDisksProtocol) {
    zeltest::InstalledHost installed(zeltest::routeHost());
    zel::DiskList& list = zel::DiskList::instance().get(false);
    ASSERT_EQ(list.disks().size(), 6u);

    auto* sata = dynamic_cast<zel::SataSsd*>(list.findDisk(0, "", "", ""));
    ASSERT_NE(sata, nullptr);
    std::vector<uint8_t> identify;
    ASSERT_EQ(sata->identify(&identify), 0u);
    ASSERT_EQ(identify.size(), 512u);
    EXPECT_EQ(zeltest::ataString(identify.data(), 27, 20), "Test SATA SSD");
    std::vector<uint8_t> smart;
    ASSERT_EQ(sata->readSmartData(&smart), 0u);
    // Attribute table from byte 2, 12 bytes per entry; id 5 carries raw value 7.
    EXPECT_EQ(smart[2], 5);
    EXPECT_EQ(smart[2 + 5], 7);

    for (int number : {1, 2, 3}) {
        auto* nvme = dynamic_cast<zel::NvmeSsd*>(list.findDisk(number, "", "", ""));
        ASSERT_NE(nvme, nullptr);
        std::vector<uint8_t> controller;
        ASSERT_EQ(nvme->identify(&controller), 0u) << number;
        ASSERT_EQ(controller.size(), 4096u);
        const std::string model(reinterpret_cast<const char*>(&controller[24]), 40);
        EXPECT_EQ(model.substr(0, model.find_last_not_of(' ') + 1), nvme->model());
        std::vector<uint8_t> health;
        ASSERT_EQ(nvme->getLogPage(0x02, 512, &health), 0u) << number;
        const uint16_t kelvin = static_cast<uint16_t>(health[1] | health[2] << 8);
        EXPECT_GT(kelvin, 273) << number;
        std::vector<uint8_t> ns;
        ASSERT_EQ(nvme->identifyNamespace(1, &ns), 0u);
        uint64_t size = 0;
        std::memcpy(&size, ns.data(), 8);
        EXPECT_EQ(size, 131072u);
    }
    // A USB stick has no IDENTIFY of its own.
    std::vector<uint8_t> none;
    EXPECT_EQ(list.findDisk(5, "", "", "")->identify(&none), 0x20000008u);
}

TEST_F(DiskOnVirtualHost, EmulatedPortIoDriver) {
    zeltest::InstalledHost installed(zeltest::routeHost());
    zel::PortIoDriver& driver = zel::PortIoDriver::instance();
    ASSERT_TRUE(driver.open());

    // Controller of disk 1 sits at bus 1 device 0 function 0 unless told.
    uint32_t ids = 0;
    ASSERT_TRUE(driver.readPciConfig(1, 0, 0, 0, &ids));
    EXPECT_EQ(ids, 0x01011AB2u);
    uint32_t nothing = 0;
    ASSERT_TRUE(driver.readPciConfig(9, 9, 1, 0, &nothing));
    EXPECT_EQ(nothing, 0xFFFFFFFFu);

    // BAR0 registers: CC.EN shows as CSTS.RDY, a shutdown request completes.
    uint32_t bar0 = 0;
    ASSERT_TRUE(driver.readPciConfig(1, 0, 0, 0x10, &bar0));
    const uint64_t base = bar0 & ~0xFu;
    uint32_t csts = 0, vs = 0;
    ASSERT_TRUE(driver.readPhysicalDword(base + 0x08, &vs));
    EXPECT_EQ(vs, 0x00010400u);
    ASSERT_TRUE(driver.readPhysicalDword(base + 0x1C, &csts));
    EXPECT_EQ(csts & 0x1, 1u);
    ASSERT_TRUE(driver.writePhysicalDword(base + 0x14, 0x00464001));  // SHN normal
    ASSERT_TRUE(driver.readPhysicalDword(base + 0x1C, &csts));
    EXPECT_EQ((csts >> 2) & 0x3, 2u);
    EXPECT_FALSE(driver.readPhysicalDword(0x1000, &csts));

    // CMOS through 0x70/0x71; every write is recorded in the state folder.
    ASSERT_TRUE(driver.writePort(0x70, 0x0B, 1));
    uint32_t statusB = 0;
    ASSERT_TRUE(driver.readPort(0x71, &statusB, 1));
    EXPECT_EQ(statusB, 0x02u);
    ASSERT_TRUE(driver.writePort(0x70, 0x05, 1));
    ASSERT_TRUE(driver.writePort(0x71, 0x30, 1));
    ASSERT_TRUE(driver.writePort(0x70, 0x05, 1));
    uint32_t alarm = 0;
    ASSERT_TRUE(driver.readPort(0x71, &alarm, 1));
    EXPECT_EQ(alarm, 0x30u);
    const std::string record = zeltest::readFile(installed.stateFile("port-writes.log"));
    EXPECT_NE(record.find("0x0071 0x00000030 1"), std::string::npos) << record;
    EXPECT_NE(record.find("0x0CF8 0x80010000 4"), std::string::npos) << record;

    driver.closeAndRemove();
    EXPECT_FALSE(driver.isOpen());
    EXPECT_FALSE(driver.readPort(0x71, &alarm, 1));
}

TEST_F(DiskOnVirtualHost, PoweredOffDiskTakesItsLettersAndRecordsAlong) {
    zeltest::InstalledHost installed(zeltest::routeHost(
        R"("volumes": [{"letter": "d", "totalBytes": 100, "freeBytes": 50}, {"letter": "K", "totalBytes": 7}])", 3));
    zel::DeviceApi& api = zel::deviceApi();
    EXPECT_EQ(api.getLogicalDrives(), (1u << 3) | (1u << 10));
    zel::VolumeSpace space;
    ASSERT_TRUE(api.getVolumeSpace('D', &space));
    EXPECT_EQ(space.total, 100u);
    EXPECT_EQ(space.free, 50u);
    EXPECT_FALSE(api.getVolumeSpace('E', &space));

    EXPECT_EQ(zel::DiskList::instance().get(false).findDisk(3, "", "", "")->driveLetters().size(), 2u);

    // A powered-off disk cannot be opened and takes its letters and records along.
    installed.host().state().counters(3).powered = false;
    EXPECT_EQ(api.getLogicalDrives(), 0u);
    EXPECT_EQ(api.enumerateInterfaces(zel::InterfaceClass::Disk).size(), 5u);
    zel::DiskList::instance().reset();
    zel::DiskList& after = zel::DiskList::instance().get(false);
    EXPECT_EQ(after.disks().size(), 5u);
    EXPECT_EQ(after.findDisk(3, "", "", ""), nullptr);
}

}  // namespace
