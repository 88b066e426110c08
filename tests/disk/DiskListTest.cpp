#include <gtest/gtest.h>

#include <windows.h>
#include <winioctl.h>

#include <cctype>
#include <cstring>

#include "core/ErrorCodes.h"
#include "core/ProcessSwitches.h"
#include "core/TextFormat.h"
#include "disk/DiskKinds.h"
#include "disk/DiskList.h"
#include "disk/PortIoDriver.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/Commands.h"
#include "tests/support/InstalledHost.h"
#include "tests/support/TestHosts.h"

namespace {

class DiskListTest : public ::testing::Test {
protected:
    void SetUp() override {
        zel::DiskList::instance().reset();
        zel::DiskList::instance().useConfiguration({});
        zel::PortIoDriver::instance().closeAndRemove();
        zel::processSwitches().nvmeProtocol = 0;
    }
    void TearDown() override { SetUp(); }
    zel::DiskList& build() { return zel::DiskList::instance().get(false); }
};

std::string disk(int number, int bus, const char* vendor, const char* model, const char* serial,
                 const std::string& extra = "") {
    return zel::formatText(R"({"number": %d, "busType": %d, "vendor": "%s", "model": "%s", "firmware": "FW1",
                               "serial": "%s", "sectorCount": 2048%s})",
                           number, bus, vendor, model, serial, extra.c_str());
}

std::string hostOf(std::initializer_list<std::string> disks) {
    std::string list;
    for (const std::string& one : disks) list += (list.empty() ? "" : ",") + one;
    return R"({"disks": [)" + list + "]}";
}

TEST_F(DiskListTest, ProbesFixedNumberRangeAndBuildsEachKind) {
    zeltest::InstalledHost installed(hostOf({
        disk(0, 11, "", "SATA SSD", "S0"), disk(1, 17, "", "NVMe A", "S1"),
        disk(2, 7, "", "HXPWR410 Virtual", "S2"), disk(3, 7, "", "HX410   Reader", "S3"),
        disk(4, 7, "Rovan\\u0001\\u0002", "USB DISK", "S4"), disk(5, 7, "JMicron", "Generic USB", "S5"),
        disk(6, 7, "Kingston", "USB DISK", "S6"), disk(7, 10, "IBM", "Tape", "S7"),
        disk(55, 3, "", "Last", "S55"), disk(56, 11, "", "Beyond", "S56")}));
    zel::DiskList& list = build();
    ASSERT_EQ(list.disks().size(), 9u);
    const auto& d = list.disks();
    const int kinds[] = {1, 2, 20, 17, 17, 22, 3, 0, 1};
    for (size_t i = 0; i < 9; ++i) EXPECT_EQ(d[i]->diskKind(), kinds[i]) << d[i]->model();
    EXPECT_EQ(d[8]->number(), 55);
    EXPECT_EQ(d[4]->vendor(), "Rovan");
    EXPECT_NE(dynamic_cast<zel::SataSsd*>(d[0].get()), nullptr);
    EXPECT_NE(dynamic_cast<zel::NvmeSsd*>(d[1].get()), nullptr);
    EXPECT_NE(dynamic_cast<zel::PciePowerSwitchBoard*>(d[2].get()), nullptr);
    EXPECT_NE(dynamic_cast<zel::SataPowerSwitchBoard*>(d[3].get()), nullptr);
    EXPECT_NE(dynamic_cast<zel::JMicronS583*>(d[5].get()), nullptr);
    EXPECT_NE(dynamic_cast<zel::Ufd*>(d[6].get()), nullptr);
    EXPECT_EQ(typeid(*d[7]), typeid(zel::DiskBase));
    EXPECT_EQ(list.findDisk({56, "", "", ""}), nullptr);
    EXPECT_EQ(list.findDisk({-1, "", "S56", ""}), nullptr);
}

// The virtual host with disk 2's alignment answer carrying no logical size.
class ZeroLogicalOnDisk2 : public zel::vhost::VirtualHost {
public:
    using VirtualHost::VirtualHost;
    BOOL deviceIoControl(HANDLE handle, DWORD code, void* in, DWORD inSize, void* out, DWORD outSize,
                         DWORD* returned, OVERLAPPED* overlapped) override {
        const BOOL ok = VirtualHost::deviceIoControl(handle, code, in, inSize, out, outSize, returned, overlapped);
        if (ok && out && code == IOCTL_STORAGE_QUERY_PROPERTY && static_cast<const uint32_t*>(in)[0] == 6 &&
            lastRequest().path == "\\\\.\\PhysicalDrive2")
            std::memset(static_cast<uint8_t*>(out) + 16, 0, 4);
        return ok;
    }
};

TEST_F(DiskListTest, SectorSizesCapacityAndLetters) {
    const std::string queryFails = R"(, "logicalSectorSize": 4096, "faults": [{"kind": "ioctl_error", "ioctl": "0x2D1400"}])";
    const std::string geometryFails = R"(, "faults": [{"kind": "ioctl_error", "ioctl": "0x700A0"}])";
    zel::vhost::HostDescription description;
    std::string problem;
    ASSERT_TRUE(zel::vhost::parseHostDescription(hostOf({
        disk(0, 11, "", "Plain", "A", R"(, "volumes": [{"letter": "A"}, {"letter": "C", "totalBytes": 500},
                                                         {"letter": "E", "totalBytes": 3000, "freeBytes": 7}])"),
        disk(1, 11, "", "Native4K", "B", R"(, "logicalSectorSize": 4096, "volumes": [{"letter": "D"}])"),
        disk(2, 11, "", "ZeroLogical", "C", R"(, "logicalSectorSize": 4096)"),
        disk(3, 11, "", "NoQuery", "D", queryFails), disk(4, 11, "", "NoGeometry", "E", geometryFails)}),
        &description, &problem)) << problem;
    ZeroLogicalOnDisk2 host(description);
    zel::DeviceApi* previous = zel::replaceDeviceApi(&host);
    const auto& disks = build().disks();
    zel::replaceDeviceApi(previous);
    ASSERT_EQ(disks.size(), 5u);
    EXPECT_EQ(disks[0]->logicalSectorSize(), 512u);
    EXPECT_EQ(disks[0]->sectorCount(), 2048u);
    EXPECT_EQ(disks[1]->logicalSectorSize(), 4096u);
    EXPECT_EQ(disks[1]->capacity(), 2048u * 4096);
    // A zero logical size in the alignment answer gives way to the geometry's.
    EXPECT_EQ(disks[2]->logicalSectorSize(), 4096u);
    EXPECT_EQ(disks[2]->physicalSectorSize(), 4096u);
    EXPECT_EQ(disks[2]->sectorCount(), 2048u);
    // Without an alignment answer the sectors are taken for 512 bytes.
    EXPECT_EQ(disks[3]->logicalSectorSize(), 512u);
    EXPECT_EQ(disks[3]->sectorCount(), 2048u * 8);
    EXPECT_EQ(disks[4]->capacity(), 0u);
    EXPECT_EQ(disks[4]->sectorCount(), 0u);

    // Letters below C are never looked at; each lands on the disk holding it.
    const auto& letters = disks[0]->driveLetters();
    ASSERT_EQ(letters.size(), 2u);
    EXPECT_EQ(letters[0].letter, 'C');
    EXPECT_EQ(letters[0].totalBytes, 500u);
    EXPECT_EQ(letters[1].letter, 'E');
    EXPECT_EQ(letters[1].freeBytes, 7u);
    ASSERT_EQ(disks[1]->driveLetters().size(), 1u);
    EXPECT_EQ(disks[1]->driveLetters()[0].letter, 'D');
}

TEST_F(DiskListTest, SelectionOrderFallThroughAndTwins) {
    zeltest::InstalledHost installed(hostOf({
        disk(0, 11, "", "Alpha 512GB", "SN-A"), disk(1, 11, "", "Beta 1TB", "SN-B"),
        disk(2, 17, "", "Alpha 1TB", "SN-C"), disk(3, 7, "", "Twin", "SAME"), disk(4, 7, "", "Twin", "OTHER"),
        disk(5, 7, "", "Twin", "SAME"),
        R"({"number": 6, "busType": 7, "model": "Twin", "firmware": "FW2", "serial": "SAME", "sectorCount": 8})"}));
    ASSERT_TRUE(installed.host().disk(1)->image().write(16, "DUT-7", 5));
    ASSERT_TRUE(installed.host().disk(2)->image().write(16, "DUT-77", 6));
    zel::DiskList& list = build();
    auto numberOf = [](zel::DiskBase* found) { return found ? found->number() : -99; };
    EXPECT_EQ(numberOf(list.findDisk({0, "Alpha", "SN-C", "DUT-7"})), 1);   // pattern first
    EXPECT_EQ(numberOf(list.findDisk({0, "Beta", "SN-C", "DUT-"})), 2);     // exact pattern only; serial next
    EXPECT_EQ(numberOf(list.findDisk({0, "Beta", "SN-Z", "nope"})), 1);     // model next
    EXPECT_EQ(numberOf(list.findDisk({0, "Alpha", "", ""})), 0);            // first model match
    EXPECT_EQ(numberOf(list.findDisk({2, "Gamma", "SN", ""})), 2);          // number last, serial exact
    EXPECT_EQ(numberOf(list.findDisk({-1, "Gamma", "", ""})), -99);
    EXPECT_EQ(numberOf(list.findDisk({-1, "", "", ""})), -99);
    EXPECT_EQ(numberOf(list.findDisk({7, "", "", ""})), -99);

    const std::vector<zel::DiskBase*> twins = list.findTwinDisks(3);
    ASSERT_EQ(twins.size(), 1u);
    EXPECT_EQ(twins[0]->number(), 5);
    EXPECT_TRUE(list.findTwinDisks(4).empty());
    EXPECT_TRUE(list.findTwinDisks(9).empty());
}

TEST_F(DiskListTest, ZelnvmeSwitchOverridesTheProvider) {
    zeltest::InstalledHost installed(hostOf({disk(0, 17, "", "Inbox", "A", R"(, "driver": {"provider": "Microsoft"})")}));
    EXPECT_EQ(build().disks()[0]->protocolType(), 6);
    zel::DiskList::instance().reset();
    zel::processSwitches().nvmeProtocol = zel::switchvalue::kForcedNvmeMiniport;
    EXPECT_EQ(build().disks()[0]->protocolType(), 7);
}

TEST_F(DiskListTest, TheSystemDiskIsRefused) {
    char windows[MAX_PATH] = {};
    GetWindowsDirectoryA(windows, MAX_PATH);
    const char system = static_cast<char>(toupper(windows[0]));
    const char other = system == 'Y' ? 'X' : 'Y';
    zeltest::InstalledHost installed(hostOf({
        disk(0, 17, "", "System", "S0", zel::formatText(R"(, "volumes": [{"letter": "%c"}])", system)),
        disk(3, 11, "", "Data", "S3", zel::formatText(R"(, "volumes": [{"letter": "%c"}])", other))}));
    zel::DiskList& list = build();
    EXPECT_FALSE(list.findDisk({3, "", "", ""})->refuseIfOsDrive());
    EXPECT_TRUE(list.findDisk({0, "", "", ""})->isOsDrive());
    EXPECT_TRUE(list.findDisk({0, "", "", ""})->refuseIfOsDrive());
    EXPECT_EQ(zel::lastError(), zel::err::kOsDrive);
}

TEST_F(DiskListTest, DeviceCommandsThroughEachDisksProtocol) {
    zeltest::InstalledHost installed(zeltest::routeHost());
    zel::DiskList& list = zel::DiskList::instance().get(false);
    ASSERT_EQ(list.disks().size(), 6u);

    auto* sata = dynamic_cast<zel::SataSsd*>(list.findDisk({0, "", "", ""}));
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
        auto* nvme = dynamic_cast<zel::NvmeSsd*>(list.findDisk({number, "", "", ""}));
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
    EXPECT_EQ(list.findDisk({5, "", "", ""})->identify(&none), 0x20000008u);
}

TEST_F(DiskListTest, EmulatedPortIoDriver) {
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

TEST_F(DiskListTest, PoweredOffDiskTakesItsLettersAndRecordsAlong) {
    zeltest::InstalledHost installed(zeltest::routeHost(
        R"("volumes": [{"letter": "d", "totalBytes": 100, "freeBytes": 50}, {"letter": "K", "totalBytes": 7}])", 3));
    zel::DeviceApi& api = zel::deviceApi();
    EXPECT_EQ(api.getLogicalDrives(), (1u << 3) | (1u << 10));
    zel::VolumeSpace space;
    ASSERT_TRUE(api.getVolumeSpace('D', &space));
    EXPECT_EQ(space.total, 100u);
    EXPECT_EQ(space.free, 50u);
    EXPECT_FALSE(api.getVolumeSpace('E', &space));

    EXPECT_EQ(zel::DiskList::instance().get(false).findDisk({3, "", "", ""})->driveLetters().size(), 2u);

    // A powered-off disk cannot be opened and takes its letters and records along.
    installed.host().state().counters(3).powered = false;
    EXPECT_EQ(api.getLogicalDrives(), 0u);
    EXPECT_EQ(api.enumerateInterfaces(zel::InterfaceClass::Disk).size(), 5u);
    zel::DiskList::instance().reset();
    zel::DiskList& after = zel::DiskList::instance().get(false);
    EXPECT_EQ(after.disks().size(), 5u);
    EXPECT_EQ(after.findDisk({3, "", "", ""}), nullptr);
}

}  // namespace
