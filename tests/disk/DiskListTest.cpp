#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <sstream>

#include "core/ActionResultJson.h"
#include "core/ErrorCodes.h"
#include "core/Logger.h"
#include "core/ProcessSwitches.h"
#include "disk/DiskKinds.h"
#include "disk/DiskList.h"
#include "disk/PortIoDriver.h"
#include "tests/support/TempDir.h"
#include "tests/disk/FakeDeviceApi.h"

namespace {

using zeltest::FakeDeviceApi;
using zeltest::FakeDisk;

FakeDisk makeDisk(const char* vendor, const char* product, const char* serial, STORAGE_BUS_TYPE bus) {
    FakeDisk disk;
    disk.vendor = vendor;
    disk.product = product;
    disk.revision = "FW1";
    disk.serial = serial;
    disk.bus = bus;
    return disk;
}

class DiskListTest : public ::testing::Test {
protected:
    void SetUp() override {
        zel::DiskList::instance().reset();
        zel::DiskList::instance().useConfiguration({});
        zel::PortIoDriver::instance().closeAndRemove();
        zel::processSwitches().nvmeProtocol = 0;
    }
    void TearDown() override { SetUp(); }

    zel::DiskList& build(bool full = false) { return zel::DiskList::instance().get(full); }

    FakeDeviceApi host;
};

TEST_F(DiskListTest, ProbesFixedNumberRangeAndClassifiesEachRow) {
    host.disks[0] = makeDisk("", "SATA SSD", "S0", BusTypeSata);
    host.disks[1] = makeDisk("", "NVMe A", "S1", BusTypeNvme);
    host.disks[2] = makeDisk("", "HXPWR410 Virtual", "S2", BusTypeUsb);
    host.disks[3] = makeDisk("", "HX410   Reader", "S3", BusTypeUsb);
    host.disks[4] = makeDisk("Rovan\x01\x02", "USB DISK", "S4", BusTypeUsb);
    host.disks[5] = makeDisk("JMicron", "Generic USB", "S5", BusTypeUsb);
    host.disks[6] = makeDisk("Kingston", "USB DISK", "S6", BusTypeUsb);
    host.disks[7] = makeDisk("IBM", "Tape", "S7", BusTypeSas);
    host.disks[55] = makeDisk("", "Last", "S55", BusTypeAta);
    host.disks[56] = makeDisk("", "Beyond", "S56", BusTypeSata);

    zel::DiskList& list = build();
    ASSERT_EQ(list.disks().size(), 9u);
    struct Row { int number, kind, protocol; };
    const Row rows[] = {{0, 1, 1}, {1, 2, 7}, {2, 20, 4}, {3, 17, 4}, {4, 17, 4},
                        {5, 22, 4}, {6, 3, 4},  {7, 0, 0},  {55, 1, 1}};
    for (size_t i = 0; i < 9; ++i) {
        const zel::DiskBase& disk = *list.disks()[i];
        EXPECT_EQ(disk.number(), rows[i].number);
        EXPECT_EQ(disk.diskKind(), rows[i].kind) << disk.model();
        EXPECT_EQ(disk.protocolType(), rows[i].protocol) << disk.model();
    }
    EXPECT_EQ(list.disks()[4]->vendor(), "Rovan");
    EXPECT_NE(dynamic_cast<zel::SataSsd*>(list.disks()[0].get()), nullptr);
    EXPECT_NE(dynamic_cast<zel::NvmeSsd*>(list.disks()[1].get()), nullptr);
    EXPECT_NE(dynamic_cast<zel::PciePowerSwitchBoard*>(list.disks()[2].get()), nullptr);
    EXPECT_NE(dynamic_cast<zel::SataPowerSwitchBoard*>(list.disks()[3].get()), nullptr);
    EXPECT_NE(dynamic_cast<zel::JMicronS583*>(list.disks()[5].get()), nullptr);
    EXPECT_NE(dynamic_cast<zel::Ufd*>(list.disks()[6].get()), nullptr);
    EXPECT_EQ(typeid(*list.disks()[7]), typeid(zel::DiskBase));

    int probes = 0;
    for (const std::string& path : host.opened) probes += path.rfind("\\\\.\\PhysicalDrive", 0) == 0;
    EXPECT_EQ(probes, 56);
    EXPECT_EQ(list.findDisk(56, "", "", ""), nullptr);
    EXPECT_EQ(list.findDisk(-1, "", "S56", ""), nullptr);
}

TEST_F(DiskListTest, SectorSizesAndCapacity) {
    host.disks[0] = makeDisk("", "NoAlign", "A", BusTypeSata);
    host.disks[0].alignmentFails = true;
    host.disks[0].size = 1000LL * 512;
    host.disks[1] = makeDisk("", "ZeroLogical", "B", BusTypeSata);
    host.disks[1].logical = 0;
    host.disks[1].geometryBytesPerSector = 4096;
    host.disks[1].size = 4096LL * 10;
    host.disks[2] = makeDisk("", "Native4K", "C", BusTypeSata);
    host.disks[2].logical = 4096;
    host.disks[2].size = 4096LL * 3 + 100;
    host.disks[3] = makeDisk("", "ShortGeometry", "D", BusTypeSata);
    host.disks[3].geometryReturned = 32;

    const auto& disks = build().disks();
    ASSERT_EQ(disks.size(), 4u);
    EXPECT_EQ(disks[0]->logicalSectorSize(), 512u);
    EXPECT_EQ(disks[0]->physicalSectorSize(), 512u);
    EXPECT_EQ(disks[0]->sectorCount(), 1000u);
    EXPECT_EQ(disks[1]->logicalSectorSize(), 4096u);
    EXPECT_EQ(disks[1]->physicalSectorSize(), 4096u);
    EXPECT_EQ(disks[1]->sectorCount(), 10u);
    EXPECT_EQ(disks[2]->logicalSectorSize(), 4096u);
    EXPECT_EQ(disks[2]->physicalSectorSize(), 4096u);
    EXPECT_EQ(disks[2]->sectorCount(), 3u);
    EXPECT_EQ(disks[3]->capacity(), 0u);
    EXPECT_EQ(disks[3]->sectorCount(), 0u);
}

TEST_F(DiskListTest, EachLetterGoesToTheDiskHoldingItsVolume) {
    host.disks[0] = makeDisk("", "First", "A", BusTypeSata);
    host.disks[1] = makeDisk("", "Second", "B", BusTypeNvme);
    host.volumes['A'] = {0, 1, {}};                      // below C: never looked at
    host.volumes['C'] = {0, 1, {500ull << 30, 100ull << 30}};
    host.volumes['D'] = {1, 2, {2048, 1024}};
    host.volumes['E'] = {0, 3, {3000, 0}};
    host.volumes['F'] = {0, 0xFFFFFFFF, {}};             // spans no disk
    host.volumes['G'] = {9, 1, {}};                      // a disk not probed

    const auto& disks = build().disks();
    ASSERT_EQ(disks.size(), 2u);
    ASSERT_EQ(disks[0]->driveLetters().size(), 2u);
    EXPECT_EQ(disks[0]->driveLetters()[0].letter, 'C');
    EXPECT_EQ(disks[0]->driveLetters()[0].totalBytes, 500ull << 30);
    EXPECT_EQ(disks[0]->driveLetters()[0].freeBytes, 100ull << 30);
    EXPECT_EQ(disks[0]->driveLetters()[1].letter, 'E');
    ASSERT_EQ(disks[1]->driveLetters().size(), 1u);
    EXPECT_EQ(disks[1]->driveLetters()[0].letter, 'D');
    EXPECT_EQ(disks[1]->driveLetters()[0].totalBytes, 2048u);
    // A letter handed to disk 0 is not asked about again for disk 1.
    int cAsked = 0;
    for (const std::string& path : host.opened) cAsked += path == "\\\\.\\C:";
    EXPECT_EQ(cAsked, 1);
}

TEST_F(DiskListTest, ControllerDriverDecidesNvmeRoute) {
    host.disks[0] = makeDisk("", "Inbox", "A", BusTypeNvme);
    host.disks[1] = makeDisk("", "Rst", "B", BusTypeNvme);
    host.disks[2] = makeDisk("", "Vendor", "C", BusTypeNvme);
    zel::DeviceRecord inbox{0, "SCSI\\DISK&VEN_NVME\\5&1\nPCI\\VEN_144D&DEV_A808\\4&AB", "Vendor Inc.", "1.0", "oem1.inf"};
    zel::DeviceRecord rst{1, "SCSI\\DISK&VEN_NVME\\5&2", "Intel Corporation", "18.0", "iastorac.inf"};
    zel::DeviceRecord vendor{2, "SCSI\\DISK&VEN_NVME\\5&3", "Vendor Inc.", "2.0", "oem2.inf"};
    zel::DeviceRecord port{0xFFFFFFFF, "PCI\\VEN_144D&DEV_A808\\4&AB", "Microsoft", "10.0.1", "stornvme.inf"};
    port.pciBus = 2;
    port.pciDevice = 0;
    port.pciFunction = 0;
    host.diskRecords = {inbox, rst, vendor};
    host.portRecords = {port};

    const auto& disks = build().disks();
    ASSERT_EQ(disks.size(), 3u);
    EXPECT_EQ(disks[0]->protocolType(), 6);
    EXPECT_EQ(disks[0]->identity().providerName, "Microsoft");
    EXPECT_EQ(disks[0]->identity().driverVersion, "10.0.1");
    EXPECT_EQ(disks[0]->identity().infPath, "stornvme.inf");
    EXPECT_EQ(disks[0]->identity().pciBus, 2u);
    EXPECT_EQ(disks[1]->protocolType(), 8);
    EXPECT_EQ(disks[2]->protocolType(), 7);

    zel::DiskList::instance().reset();
    zel::processSwitches().nvmeProtocol = 7;
    EXPECT_EQ(build().disks()[0]->protocolType(), 7);
}

TEST_F(DiskListTest, SelectionOrderAndFallThrough) {
    host.disks[0] = makeDisk("", "Alpha 512GB", "SN-A", BusTypeSata);
    host.disks[1] = makeDisk("", "Beta 1TB", "SN-B", BusTypeSata);
    host.disks[2] = makeDisk("", "Alpha 1TB", "SN-C", BusTypeNvme);
    host.disks[1].sector0.assign(512, 0);
    const char tag[] = "DUT-7";
    std::copy(tag, tag + 5, host.disks[1].sector0.begin() + 16);
    host.disks[2].sector0.assign(512, 0);
    const char longer[] = "DUT-77";
    std::copy(longer, longer + 6, host.disks[2].sector0.begin() + 16);

    zel::DiskList& list = build();
    auto numberOf = [](zel::DiskBase* disk) { return disk ? disk->number() : -99; };
    EXPECT_EQ(numberOf(list.findDisk(0, "Alpha", "SN-C", "DUT-7")), 1);   // pattern first
    EXPECT_EQ(numberOf(list.findDisk(0, "Beta", "SN-C", "DUT-")), 2);     // exact pattern only; serial next
    EXPECT_EQ(numberOf(list.findDisk(0, "Beta", "SN-C", "")), 2);         // serial before model
    EXPECT_EQ(numberOf(list.findDisk(0, "Beta", "SN-Z", "nope")), 1);     // model next
    EXPECT_EQ(numberOf(list.findDisk(0, "Alpha", "", "")), 0);            // first model match
    EXPECT_EQ(numberOf(list.findDisk(2, "Gamma", "SN", "")), 2);          // number last, serial exact
    EXPECT_EQ(numberOf(list.findDisk(-1, "Gamma", "", "")), -99);
    EXPECT_EQ(numberOf(list.findDisk(-1, "", "", "")), -99);
    EXPECT_EQ(numberOf(list.findDisk(3, "", "", "")), -99);
}

TEST_F(DiskListTest, TwinDisksShareModelFirmwareAndSerial) {
    host.disks[0] = makeDisk("", "Twin", "SAME", BusTypeUsb);
    host.disks[1] = makeDisk("", "Twin", "SAME", BusTypeUsb);
    host.disks[2] = makeDisk("", "Twin", "OTHER", BusTypeUsb);
    host.disks[3] = makeDisk("", "Twin", "SAME", BusTypeUsb);
    host.disks[3].revision = "FW2";
    host.disks[4] = makeDisk("", "Twin", "SAME", BusTypeUsb);
    zel::DiskList& list = build();
    const std::vector<zel::DiskBase*> twins = list.findTwinDisks(1);
    ASSERT_EQ(twins.size(), 2u);
    EXPECT_EQ(twins[0]->number(), 0);
    EXPECT_EQ(twins[1]->number(), 4);
    EXPECT_TRUE(list.findTwinDisks(2).empty());
    EXPECT_TRUE(list.findTwinDisks(9).empty());
}

std::vector<uint8_t> controllerSpace() {
    std::vector<uint8_t> space(256, 0);
    const uint8_t header[] = {0x86, 0x80, 0x53, 0x09, 0x06, 0x04, 0x10, 0x00};  // 8086:0953
    std::copy(header, header + 8, space.begin());
    space[0x10] = 0x04;
    space[0x12] = 0x30;
    space[0x13] = 0xDF;  // BAR0 0xDF300000
    space[0x34] = 0x60;
    space[0x60] = 0x10;  // PCI Express, next 0x80
    space[0x61] = 0x80;
    space[0x68] = 0x40;  // payload code 2: 512 bytes
    space[0x72] = 0x82;  // Gen2 x8
    space[0x80] = 0x01;  // power management, end
    return space;
}

TEST_F(DiskListTest, PcieFieldsReadThroughPortIoAndCarriedByConfiguration) {
    host.disks[0] = makeDisk("", "NVMe P", "SN-P", BusTypeNvme);
    host.disks[1] = makeDisk("", "SATA", "SN-S", BusTypeSata);
    zel::DeviceRecord record{0, "X", "Microsoft", "1", "stornvme.inf"};
    record.pciBus = 4;
    record.pciDevice = 0;
    record.pciFunction = 0;
    host.diskRecords = {record};
    host.pciConfig[0x80040000] = controllerSpace();

    zel::DiskList& list = build(true);
    EXPECT_TRUE(list.builtWithoutError());
    const auto& pcie = list.disks()[0]->pcieInfo();
    ASSERT_TRUE(pcie.has_value());
    EXPECT_EQ(pcie->vendorId, 0x8086u);
    EXPECT_EQ(pcie->deviceId, 0x0953u);
    EXPECT_EQ(pcie->bar0, 0xDF300000ull);
    EXPECT_EQ(pcie->linkText(), "Gen2x8");
    EXPECT_EQ(pcie->maxPayloadSize, 512u);
    EXPECT_EQ(pcie->pcieCapOffset, 0x60u);
    EXPECT_EQ(pcie->pmCapOffset, 0x80u);
    EXPECT_FALSE(list.disks()[1]->pcieInfo().has_value());

    // The JSON written by one run feeds the next, which has no driver.
    const zel::Json written = list.toDriveInfoList();
    const std::string text = written.dump();
    zel::DiskList::instance().reset();
    zel::PortIoDriver::instance().closeAndRemove();
    host.portIoAvailable = false;
    zel::DiskList& bare = build(true);
    EXPECT_FALSE(bare.builtWithoutError());
    EXPECT_EQ(zel::lastError(), zel::err::kWinIoInit);
    EXPECT_FALSE(bare.disks()[0]->pcieInfo().has_value());

    zel::DiskList::instance().reset();
    zel::DiskList::instance().useConfiguration(zel::Json::parse(text).get<std::vector<zel::DriveInfo>>());
    zel::DiskList& carried = build(true);
    EXPECT_TRUE(carried.builtWithoutError());
    ASSERT_TRUE(carried.disks()[0]->pcieInfo().has_value());
    EXPECT_EQ(carried.disks()[0]->pcieInfo()->bar0, 0xDF300000ull);
    EXPECT_EQ(carried.disks()[0]->pcieInfo()->linkText(), "Gen2x8");
}

TEST_F(DiskListTest, DriveObjectsCarryEveryKeyWithItsType) {
    host.disks[0] = makeDisk("", "NVMe P", "SN-P", BusTypeNvme);
    host.volumes['C'] = {0, 1, {1ull << 40, 5}};
    zel::DeviceRecord record{0, "X", "Microsoft", "1", "stornvme.inf"};
    record.pciBus = 4;
    record.pciDevice = record.pciFunction = 0;
    host.diskRecords = {record};
    host.pciConfig[0x80040000] = controllerSpace();

    const zel::Json drives = build(true).toDriveInfoList();
    ASSERT_EQ(drives.size(), 1u);
    const zel::Json& drive = drives[0];
    const char* keys[] = {"model", "sn", "fw_rev", "disk_type", "protocol_type", "bus", "dev", "fun", "vid", "did",
                          "hwid", "base_addr", "link_speed", "link_width", "link_str", "mps", "mps_str",
                          "pxcap_offset", "pmcap_offset", "disk_info_list"};
    size_t i = 0;
    for (auto it = drive.begin(); it != drive.end(); ++it, ++i) EXPECT_EQ(it.key(), keys[i]);
    EXPECT_EQ(i, 20u);
    for (const char* key : {"model", "sn", "fw_rev", "hwid", "link_str", "mps_str"})
        EXPECT_TRUE(drive[key].is_string()) << key;
    for (const char* key : {"bus", "dev", "fun", "vid", "did", "base_addr", "link_speed", "link_width", "mps",
                            "pxcap_offset", "pmcap_offset"})
        EXPECT_TRUE(drive[key].is_number_unsigned()) << key;
    EXPECT_TRUE(drive["disk_type"].is_number_integer());
    EXPECT_EQ(drive["disk_type"], 2);
    EXPECT_EQ(drive["hwid"], "PCI\\VEN_8086&DEV_0953");
    EXPECT_EQ(drive["mps_str"], "512B");
    const zel::Json& disk = drive["disk_info_list"][0];
    EXPECT_EQ(disk["id"], 0u);
    EXPECT_EQ(disk["sector_size"], 512u);
    EXPECT_EQ(disk["capacity"], 1ull << 30);
    EXPECT_EQ(disk["part_info_list"][0]["drive_letter"], "C");
    EXPECT_EQ(disk["part_info_list"][0]["capacity"], 1ull << 40);
    EXPECT_EQ(disk["part_info_list"][0]["free_space"], 5u);
}

std::string slurp(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream all;
    all << in.rdbuf();
    return all.str();
}

TEST_F(DiskListTest, PrintoutAndIniOfOneDisk) {
    host.disks[3] = makeDisk("WDC", "Model X", "SER1", BusTypeSata);
    host.disks[3].size = 3LL << 40;
    host.volumes['D'] = {3, 1, {2048, 1536}};
    zel::DiskList& list = build();
    zeltest::TempDir dir;
    zel::Logger::instance().open(dir.file("print.log"));
    list.print();
    zel::Logger::instance().open("");
    const std::string log = slurp(dir.file("print.log"));
    const char* lines[] = {"***** Disk Information *****", "- Disk 3:", "  Model: Model X", "  Firmware: FW1",
                           "  Serial number: SER1", "  Vendor: WDC", "  Bytes per sector: 512",
                           "  Capacity: 3298534883328 (3.00TB)", "  Total LBA: 6442450944", "  Disk type: 1",
                           "  - Partition 0:", "    Drive letter: D", "    Free space: 1536 (1.50KB)",
                           "    Total size: 2048 (2.00KB)"};
    size_t at = 0;
    for (const char* line : lines) {
        size_t found = log.find(line, at);
        while (found != std::string::npos && log[found + std::strlen(line)] != '\r' &&
               log[found + std::strlen(line)] != '\n')
            found = log.find(line, found + 1);
        ASSERT_NE(found, std::string::npos) << line;
        at = found;
    }

    const std::string ini = dir.file("disk.ini");
    ASSERT_TRUE(list.writeIni(ini));
    char value[64] = {};
    GetPrivateProfileStringA("Disk3", "Capacity", "", value, sizeof(value), ini.c_str());
    EXPECT_STREQ(value, "3298534883328");
    GetPrivateProfileStringA("Disk3", "Model", "", value, sizeof(value), ini.c_str());
    EXPECT_STREQ(value, "Model X");
    GetPrivateProfileStringA("Disk3", "DriveLetters", "", value, sizeof(value), ini.c_str());
    EXPECT_STREQ(value, "D");
    EXPECT_EQ(GetPrivateProfileIntA("Disk3", "DiskType", -1, ini.c_str()), 1);
    EXPECT_EQ(GetPrivateProfileIntA("DiskList", "Count", -1, ini.c_str()), 1);
}

}  // namespace

namespace {

TEST(DiskOsDrive, TheDiskHoldingTheWindowsFolderIsRefused) {
    zeltest::FakeDeviceApi host;
    zel::DiskList::instance().reset();
    host.disks[0] = makeDisk("", "Data", "D0", BusTypeSata);
    host.disks[1] = makeDisk("", "System", "S1", BusTypeNvme);
    char windows[MAX_PATH] = {};
    GetWindowsDirectoryA(windows, MAX_PATH);
    const char systemLetter = static_cast<char>(toupper(windows[0]));
    const char otherLetter = systemLetter == 'Y' ? 'X' : 'Y';
    host.volumes[systemLetter] = {1, 1, {}};
    host.volumes[otherLetter] = {0, 1, {}};
    zel::DiskList& list = zel::DiskList::instance().get(false);
    EXPECT_FALSE(list.findDisk(0, "", "", "")->isOsDrive());
    EXPECT_FALSE(list.findDisk(0, "", "", "")->refuseIfOsDrive());
    EXPECT_TRUE(list.findDisk(1, "", "", "")->isOsDrive());
    EXPECT_TRUE(list.findDisk(1, "", "", "")->refuseIfOsDrive());
    EXPECT_EQ(zel::lastError(), zel::err::kOsDrive);
    zel::DiskList::instance().reset();
}

}  // namespace
