// The emulated devices' data, image and counters without the Windows layer.
#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "tests/support/TempDir.h"
#include "vhost/DeviceData.h"
#include "vhost/DiskImage.h"
#include "vhost/HostState.h"
#include "vhost/PortIoBench.h"
#include "vhost/AtaDevice.h"
#include "vhost/VirtualDisk.h"

using namespace zel::vhost;

namespace {

DiskDescription sataDisk() {
    DiskDescription disk;
    disk.number = 0;
    disk.busType = 11;
    disk.deviceInterface = "ata";
    disk.model = "Model Name";
    disk.serial = "SERIAL1";
    disk.firmware = "FW1";
    disk.capacityBytes = 1000 * 512;
    return disk;
}

std::string ataText(const std::array<uint16_t, 256>& words, unsigned first, unsigned count) {
    std::string text;
    for (unsigned i = 0; i < count; ++i) {
        text += static_cast<char>(words[first + i] >> 8);
        text += static_cast<char>(words[first + i] & 0xFF);
    }
    return text;
}

}  // namespace

TEST(EmulatedAtaData, IdentifyWordsFromTheIdentity) {
    DiskDescription disk = sataDisk();
    auto words = ataIdentifyWords(disk);
    EXPECT_EQ(ataText(words, 23, 4), "FW1     ") << "model and serial are read back through the routes";
    EXPECT_EQ(words[60] | words[61] << 16, 1000);
    EXPECT_EQ(words[100], 1000);
    EXPECT_TRUE(words[83] & 0x0400) << "48-bit feature set";
    EXPECT_EQ(words[106], 0x4000) << "one logical sector per physical";
    EXPECT_EQ(words[255] & 0xFF, 0xA5);
    uint8_t sum = 0;
    for (uint16_t word : words) sum += static_cast<uint8_t>(word) + static_cast<uint8_t>(word >> 8);
    EXPECT_EQ(sum, 0) << "integrity word";

    disk.physicalSectorSize = 4096;
    disk.identifyWords[217] = 7200;
    words = ataIdentifyWords(disk);
    EXPECT_EQ(words[106], 0x6003) << "eight logical sectors per physical";
    EXPECT_EQ(words[217], 7200) << "description overrides";
    disk.logicalSectorSize = 4096;
    disk.physicalSectorSize = 4096;
    words = ataIdentifyWords(disk);
    EXPECT_EQ(words[106], 0x5000);
    EXPECT_EQ(words[117] | words[118] << 16, 2048) << "logical sector size in words";
}

TEST(EmulatedAtaData, SmartSectorsAndThresholdState) {
    DiskDescription disk = sataDisk();
    DiskCounters counters;
    counters.powerCycles = 0x0102;
    counters.powerOnSecondsBase = 7200;
    counters.firstUse = 1000;
    const std::vector<uint8_t> data = ataSmartData(disk, counters, 1000 + 3600);
    ASSERT_EQ(data.size(), 512u);
    EXPECT_EQ(data[2], 9) << "default attribute list starts with power-on hours";
    EXPECT_EQ(data[2 + 5], 3) << "two stored hours and one since the first use";
    EXPECT_EQ(data[14], 12);
    EXPECT_EQ(data[14 + 5], 0x02);
    EXPECT_EQ(data[14 + 6], 0x01);

    disk.smartAttributes.resize(1);
    disk.smartAttributes[0].id = 5;
    disk.smartAttributes[0].current = 10;
    disk.smartAttributes[0].threshold = 36;
    EXPECT_TRUE(ataSmartThresholdExceeded(disk));
    const std::vector<uint8_t> thresholds = ataSmartThresholds(disk);
    EXPECT_EQ(thresholds[2], 5);
    EXPECT_EQ(thresholds[3], 36);
}

// The health settings reach both SMART views; a spare below its threshold
// raises the critical warning, at the threshold SMART RETURN STATUS trips.
TEST(EmulatedHealth, TemperatureSpareAndThresholdState) {
    struct Case {
        uint16_t kelvin;
        uint8_t spare, spareThreshold, extraWarning;
        uint8_t warning;        // NVMe critical warning
        bool exceeded;          // SMART RETURN STATUS
    } cases[] = {
        {308, 100, 10, 0, 0x00, false},
        {350, 10, 10, 0, 0x00, true},
        {300, 9, 10, 0, 0x01, true},
        {273, 0, 0, 0x02, 0x02, false},
        {400, 5, 50, 0x04, 0x05, true},
    };
    zeltest::TempDir folder;
    HostState state(folder.path());
    for (const Case& c : cases) {
        DiskDescription disk = sataDisk();
        disk.temperatureKelvin = c.kelvin;
        disk.availableSpare = c.spare;
        disk.availableSpareThreshold = c.spareThreshold;
        disk.criticalWarning = c.extraWarning;
        const std::vector<uint8_t> health = nvmeLogPage(disk, state.counters(0), 0x02, 0);
        EXPECT_EQ(health[0], c.warning) << c.spare << "/" << int(c.spareThreshold);
        EXPECT_EQ(health[1] | health[2] << 8, c.kelvin);
        EXPECT_EQ(health[3], c.spare);
        EXPECT_EQ(health[4], c.spareThreshold);
        EXPECT_EQ(ataSmartData(disk, state.counters(0), 0)[2 + 12 * 3 + 5], c.kelvin - 273) << "default 194, Celsius";

        disk.smartAttributes.resize(2);
        disk.smartAttributes[0].id = 194, disk.smartAttributes[0].rawFrom = "temperatureCelsius";
        disk.smartAttributes[1].id = 232, disk.smartAttributes[1].currentFrom = "availableSpare";
        disk.smartAttributes[1].threshold = c.spareThreshold;
        const std::vector<uint8_t> data = ataSmartData(disk, state.counters(0), 0);
        EXPECT_EQ(data[2 + 5], c.kelvin - 273);
        EXPECT_EQ(data[2 + 12 + 3], c.spare) << "current follows the spare";
        VirtualDisk drive(disk, state);
        AtaTaskFile taskFile;
        taskFile.command = 0xB0;
        taskFile.feature = 0xDA;
        taskFile.lba = 0xC24F00;
        drive.ata()->execute(taskFile, nullptr, 0);
        EXPECT_EQ(taskFile.lba >> 8 & 0xFFFF, c.exceeded ? 0x2CF4u : 0xC24Fu) << c.spare << "/" << int(c.spareThreshold);
    }
}

// Two entries may share an id; each keeps its own slot and threshold.
TEST(EmulatedAtaData, RepeatedAttributeIdsKeepTheirSlots) {
    DiskDescription disk = sataDisk();
    disk.smartAttributes.resize(30);
    for (size_t i = 0; i < 30; ++i) disk.smartAttributes[i].id = static_cast<uint8_t>(1 + i % 15);
    disk.smartAttributes[20].threshold = 100;  // second id 6
    disk.smartAttributes[29].raw = 0x0A0B;
    const std::vector<uint8_t> data = ataSmartData(disk, DiskCounters{}, 0);
    const std::vector<uint8_t> thresholds = ataSmartThresholds(disk);
    EXPECT_EQ(data[2 + 12 * 5], 6);
    EXPECT_EQ(data[2 + 12 * 20], 6);
    EXPECT_EQ(thresholds[3 + 12 * 5], 0);
    EXPECT_EQ(thresholds[3 + 12 * 20], 100);
    EXPECT_EQ(data[2 + 12 * 29 + 5], 0x0B) << "the last of the 30 slots";
    EXPECT_EQ(data[2 + 12 * 29 + 6], 0x0A);
    EXPECT_TRUE(ataSmartThresholdExceeded(disk)) << "the second entry alone trips the status";
}

// The health page's counters, the firmware slot and unknown pages are read
// through ZelCli.exe (SmartEndToEnd, CmdEndToEnd); here given and edited pages.
TEST(EmulatedNvmeData, GivenAndEditedLogPages) {
    struct Case {
        uint8_t logId;
        uint32_t editSize;
        uint8_t fill;
        uint32_t at;                // where `bytes` go
        std::vector<uint8_t> bytes;
        size_t size;
        std::vector<std::pair<size_t, uint8_t>> expect;  // offset, byte
    } cases[] = {
        {0xC0, 0, 0, 4, {0xAB, 0xCD}, 6, {{0, 0}, {4, 0xAB}, {5, 0xCD}}},
        {0xC0, 512, 0xEE, 510, {1}, 512, {{0, 0xEE}, {510, 1}, {511, 0xEE}}},
        {0x02, 0, 0, 0, {0x08}, 512, {{0, 0x08}, {3, 90}, {144, 4}}},
        {0x02, 1024, 0x55, 0, {}, 1024, {{3, 90}, {512, 0x55}}},
        {0x03, 16, 0, 0, {}, 16, {{0, 0x01}, {8, 'F'}}},
    };
    DiskCounters counters;
    counters.unsafeShutdowns = 4;
    for (const Case& c : cases) {
        DiskDescription disk = sataDisk();
        disk.availableSpare = 90;
        NvmeLogPageEdit& edit = disk.nvmeLogPageEdits[c.logId];
        edit.size = c.editSize;
        edit.fill = c.fill;
        if (!c.bytes.empty()) edit.bytes[c.at] = c.bytes;
        const std::vector<uint8_t> page = nvmeLogPage(disk, counters, c.logId, 0);
        ASSERT_EQ(page.size(), c.size) << int(c.logId);
        for (const auto& e : c.expect) EXPECT_EQ(page[e.first], e.second) << int(c.logId) << " @" << e.first;
    }
    DiskDescription disk = sataDisk();
    disk.deviceInterface = "nvme";
    disk.nvmeLogPages[0x02] = {9, 9};
    EXPECT_EQ(nvmeLogPage(disk, counters, 0x02, 0), (std::vector<uint8_t>{9, 9})) << "a given page wins";
    EXPECT_EQ(nvmeIdentifyController(disk)[516], 1) << "one namespace";
}

TEST(DiskImage, SparseContentsReadZerosAndKeepWrites) {
    zeltest::TempDir folder;
    const std::string path = folder.file("sub/disk0.img");
    {
        DiskImage image(path, 1 << 20);
        std::vector<uint8_t> zeros(512, 0xFF);
        ASSERT_TRUE(image.read(4096, zeros.data(), 512));
        EXPECT_EQ(zeros, std::vector<uint8_t>(512, 0));
        std::vector<uint8_t> data(512, 0x3C);
        ASSERT_TRUE(image.write(8192, data.data(), 512));
        EXPECT_FALSE(image.write((1 << 20) - 256, data.data(), 512)) << "past the capacity";
        ASSERT_TRUE(image.flush());
    }
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    EXPECT_EQ(static_cast<uint64_t>(file.tellg()), 8192u + 512u) << "the file grows only where written";
    DiskImage again(path, 1 << 20);
    std::vector<uint8_t> back(1024);
    ASSERT_TRUE(again.read(8192 - 512, back.data(), 1024));
    EXPECT_EQ(back[511], 0);
    EXPECT_EQ(back[512], 0x3C);
}

// Moving the host clock forward lets hours pass: both SMART views follow.
TEST(HostState, ClockOffsetAdvancesPowerOnHours) {
    zeltest::TempDir folder;
    HostState state(folder.path());
    state.setClockOffset(3600 * 24 * 365);
    const DiskCounters& counters = state.counters(0);
    EXPECT_GE(counters.firstUse, unixNow() + 3600 * 24 * 365) << "first use is stamped on the host clock";
    DiskDescription disk = sataDisk();
    struct Step {
        uint64_t offset;
        uint64_t hours;
    } steps[] = {{3600 * 24 * 365, 0}, {3600 * 24 * 365 + 2 * 3600, 2}, {3600 * 24 * 400, 840}, {0, 0}};
    for (const Step& step : steps) {
        state.setClockOffset(step.offset);
        EXPECT_EQ(ataSmartData(disk, counters, state.now())[2 + 5], step.hours & 0xFF) << step.offset;
        EXPECT_EQ(ataSmartData(disk, counters, state.now())[2 + 6], step.hours >> 8) << step.offset;
        EXPECT_EQ(nvmeLogPage(disk, counters, 0x02, state.now())[128], step.hours & 0xFF) << step.offset;
        EXPECT_EQ(nvmeLogPage(disk, counters, 0x02, state.now())[129], step.hours >> 8) << step.offset;
    }
}

// A damaged value is named and starts from its default; the rest is kept.
TEST(HostState, DamagedCountersStartFromTheirDefaults) {
    struct Case {
        const char* file;
        const char* problem;
        bool (*atDefault)(const DiskCounters&);
    } cases[] = {
        {R"({"disks": {"3": {"powerCycles": 4, "firstUse": -1e300}}})",
         "counters.json.disks.3.firstUse: expected a whole number below 2^64",
         [](const DiskCounters& c) { return c.firstUse == 0; }},
        {R"({"disks": {"3": {"powerCycles": 4, "mediaErrors": -2}}})",
         "counters.json.disks.3.mediaErrors: expected a non-negative number",
         [](const DiskCounters& c) { return c.mediaErrors == 0; }},
        {R"({"disks": {"3": {"powerCycles": 4, "powered": 0}}})",
         "counters.json.disks.3.powered: expected true or false", [](const DiskCounters& c) { return c.powered; }},
        {R"({"disks": {"3": {"powerCycles": 4}, "99999999999": {}}})",
         "counters.json.disks.99999999999: not a disk number", [](const DiskCounters&) { return true; }},
    };
    for (const Case& c : cases) {
        zeltest::TempDir folder;
        std::ofstream(folder.file("counters.json")) << c.file;
        HostState state(folder.path());
        std::vector<std::string> problems;
        EXPECT_FALSE(state.load(&problems)) << c.file;
        EXPECT_EQ(problems, std::vector<std::string>{c.problem});
        EXPECT_TRUE(c.atDefault(state.counters(3))) << c.file;
        EXPECT_EQ(state.counters(3).powerCycles, 4u) << c.file;
    }
    zeltest::TempDir folder;
    std::ofstream(folder.file("counters.json")) << "{broken";
    std::vector<std::string> problems;
    EXPECT_FALSE(HostState(folder.path()).load(&problems));
    EXPECT_EQ(problems, std::vector<std::string>{"counters.json: not valid JSON"});
}

TEST(PortIoBench, WriteLogKeepsOnlyTheMostRecentWrites) {
    zeltest::TempDir folder;
    HostDescription host;
    host.stateFolder = folder.path();
    {
        std::ofstream earlier(folder.file("port-writes.log"));
        for (unsigned i = 0; i < kPortLogLimit + 100; ++i) earlier << "0x0080 " << i << " 1\n";
    }
    PortIoBench bench(host);
    bench.open = true;
    auto lines = [&] {
        std::vector<std::string> all;
        std::ifstream in(folder.file("port-writes.log"));
        for (std::string line; std::getline(in, line);) all.push_back(line);
        return all;
    };
    ASSERT_TRUE(bench.writePort(0x70, 0x0B, 1));
    std::vector<std::string> now = lines();
    EXPECT_LE(now.size(), kPortLogLimit);
    ASSERT_GE(now.size(), 2u);
    EXPECT_EQ(now.back(), "0x0070 0x0000000B 1");
    EXPECT_EQ(now[now.size() - 2], "0x0080 " + std::to_string(kPortLogLimit + 99) + " 1") << "recent ones stay";
    for (unsigned i = 0; i < kPortLogLimit; ++i) bench.writePort(0x80, i, 1);
    EXPECT_LE(lines().size(), kPortLogLimit) << "bounded within one run too";
}
