#include <gtest/gtest.h>

#include <windows.h>
#include <winioctl.h>

#include <cstring>
#include <tuple>

#include "core/ErrorCodes.h"
#include "core/ProcessSwitches.h"
#include "core/TextFormat.h"
#include "disk/DiskKinds.h"
#include "disk/DiskList.h"
#include "disk/PortIoDriver.h"
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
    EXPECT_EQ(std::make_pair(d[8]->number(), d[4]->vendor()), std::make_pair(55, std::string("Rovan")));
    // The drive classes' commands are used end to end; a plain disk gets none.
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
    // A zero logical size in the alignment answer gives way to the geometry's
    // (disk 2); without an alignment answer the sectors are taken for 512
    // bytes (disk 3); without geometry there is no size (disk 4).
    const struct { uint32_t logical, physical; uint64_t sectors, capacity; } sizes[] = {
        {512, 512, 2048, 2048 * 512}, {4096, 4096, 2048, 2048 * 4096}, {4096, 4096, 2048, 2048 * 4096},
        {512, 512, 2048 * 8, 2048 * 4096}, {512, 512, 0, 0}};
    for (size_t i = 0; i < 5; ++i)
        EXPECT_EQ(std::make_tuple(disks[i]->logicalSectorSize(), disks[i]->physicalSectorSize(),
                                  disks[i]->sectorCount(), disks[i]->capacity()),
                  std::make_tuple(sizes[i].logical, sizes[i].physical, sizes[i].sectors, sizes[i].capacity)) << i;

    // Letters below C are never looked at; each lands on the disk holding it.
    std::vector<std::tuple<int, char, uint64_t, uint64_t>> letters;
    for (int i : {0, 1})
        for (const auto& l : disks[i]->driveLetters()) letters.emplace_back(i, l.letter, l.totalBytes, l.freeBytes);
    EXPECT_EQ(letters, (std::vector<std::tuple<int, char, uint64_t, uint64_t>>{
                           {0, 'C', 500, 0}, {0, 'E', 3000, 7}, {1, 'D', 0, 0}}));
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
    EXPECT_EQ(twins[0]->number(), 5) << "not 6, which has another firmware";
    EXPECT_TRUE(list.findTwinDisks(4).empty() && list.findTwinDisks(9).empty());
}

// ATA identify and SMART and the NVMe log pages are used by the rw and smart
// runs end to end; nothing else asks for the NVMe identify data. Each NVMe
// class reads it through its own route: the inbox query, the bridge's tunnel.
TEST_F(DiskListTest, NvmeIdentifyOnEachRouteADiskWithoutIdentifyAndTheSwitch) {
    zeltest::InstalledHost installed(hostOf({disk(1, 17, "", "NVMe Inbox", "A", R"(, "driver": {"provider": "Microsoft"})"),
                                             disk(5, 7, "JMicron", "Generic USB", "B"), disk(6, 7, "", "USB DISK", "C")}));
    zel::DiskList& list = build();
    std::vector<uint8_t> data;
    for (const auto& [number, model] : {std::pair<int, std::string>{1, "NVMe Inbox"}, {5, "Generic USB"}}) {
        auto* nvme = dynamic_cast<zel::NvmeDisk*>(list.findDisk({number, "", "", ""}));
        ASSERT_NE(nvme, nullptr) << number;
        ASSERT_EQ(nvme->identify(&data), 0u) << number;
        ASSERT_EQ(data.size(), 4096u);
        EXPECT_EQ(std::string(reinterpret_cast<const char*>(&data[24]), model.size()), model);
        ASSERT_EQ(nvme->identifyNamespace(1, &data), 0u) << number;
        uint64_t size = 0;
        std::memcpy(&size, data.data(), 8);
        EXPECT_EQ(size, 2048u) << number;
    }
    auto* bridged = dynamic_cast<zel::NvmeDisk*>(list.findDisk({5, "", "", ""}));
    EXPECT_EQ(bridged->identifyNamespace(2, &data), zel::err::kNvmeStatus) << "one namespace behind the bridge";
    EXPECT_EQ(zel::lastError(), zel::err::kNvmeStatus);
    EXPECT_EQ(list.findDisk({6, "", "", ""})->identify(&data), 0x20000008u) << "a USB stick";

    // The zelnvme switch overrides the inbox provider's route.
    EXPECT_EQ(list.findDisk({1, "", "", ""})->protocolType(), 6);
    zel::DiskList::instance().reset();
    zel::processSwitches().nvmeProtocol = zel::switchvalue::kForcedNvmeMiniport;
    EXPECT_EQ(build().findDisk({1, "", "", ""})->protocolType(), 7);
}

TEST_F(DiskListTest, PortIoDriverClosesForGood) {
    zeltest::InstalledHost installed(zeltest::routeHost());
    zel::PortIoDriver& driver = zel::PortIoDriver::instance();
    ASSERT_TRUE(driver.open());
    uint32_t ids = 0;
    ASSERT_TRUE(driver.readPciConfig(1, 0, 0, 0, &ids));
    EXPECT_EQ(ids, 0x01011AB2u);
    driver.closeAndRemove();
    EXPECT_FALSE(driver.isOpen());
    EXPECT_FALSE(driver.readPort(0x71, &ids, 1));
}

}  // namespace
