// The data path's parts without the Windows layer: trimmed ranges, trim
// semantics, the data-less disk and the write-and-trim answer.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <utility>
#include <vector>

#include "tests/support/TempDir.h"
#include "vhost/AtaDevice.h"
#include "vhost/DeviceData.h"
#include "vhost/ExtentSet.h"
#include "vhost/NvmeController.h"
#include "vhost/VirtualDisk.h"

using namespace zel::vhost;

namespace {

using Ranges = std::vector<std::pair<uint64_t, uint64_t>>;

Ranges rangesOf(const ExtentSet& set) { return Ranges(set.ranges().begin(), set.ranges().end()); }

struct Disk {
    explicit Disk(const DiskDescription& d) : state(folder.path()), disk(d, state) {}
    zeltest::TempDir folder;
    HostState state;
    VirtualDisk disk;
};

DiskDescription described(const char* interfaceName, TrimBehaviour trim = {}) {
    DiskDescription d;
    d.deviceInterface = interfaceName;
    d.capacityBytes = 64 * 512;
    d.trim = trim;
    return d;
}

uint8_t ataCommand(VirtualDisk& disk, uint8_t command, uint64_t lba, uint16_t count, std::vector<uint8_t>& data) {
    AtaTaskFile taskFile;
    taskFile.command = command;
    taskFile.feature = command == 0x06 ? 1 : 0;
    taskFile.lba = lba;
    taskFile.count = count;
    taskFile.ext = true;
    disk.ata()->execute(taskFile, data.data(), static_cast<uint32_t>(data.size()));
    return taskFile.status;
}

uint16_t nvmeCommand(VirtualDisk& disk, bool admin, std::vector<uint32_t> dwords, std::vector<uint8_t>& data) {
    uint8_t sqe[64] = {};
    std::memcpy(sqe, dwords.data(), 4 * dwords.size());
    NvmeCompletion completion;
    disk.nvme()->execute(sqe, admin, data.data(), static_cast<uint32_t>(data.size()), &completion);
    return completion.statusField();
}

}  // namespace

TEST(ExtentSet, RangesMergeSplitAndClip) {
    ExtentSet set;
    set.add(10, 5);
    set.add(20, 5);
    set.add(15, 5);  // bridges both
    set.add(40, 10);
    EXPECT_EQ(rangesOf(set), (Ranges{{10, 25}, {40, 50}}));
    EXPECT_TRUE(set.remove(12, 3));
    EXPECT_FALSE(set.remove(30, 5));
    EXPECT_TRUE(set.remove(20, 25));
    EXPECT_EQ(rangesOf(set), (Ranges{{10, 12}, {15, 20}, {45, 50}}));
    Ranges seen;
    set.forEachIn(11, 36, [&](uint64_t start, uint64_t count) { seen.emplace_back(start, count); });
    EXPECT_EQ(seen, (Ranges{{11, 1}, {15, 5}, {45, 2}}));
}

// Each IDENTIFY combination a drive can report, read back after a DATA
// SET MANAGEMENT TRIM through the ATA device; NVMe reports the same in DLFEAT.
TEST(TrimSemantics, AtaIdentifyAndWhatTrimmedSectorsRead) {
    struct Case {
        TrimBehaviour trim;
        uint16_t word69;
        uint8_t dlfeat;
        int firstByte;  // -1: differs between reads
    } cases[] = {
        {{true, true, true}, 0x4020, 1, 0x00},
        {{true, false, true}, 0x4000, 2, 0xFF},
        {{true, false, false}, 0x0000, 0, -1},
    };
    for (const Case& c : cases) {
        Disk d(described("ata", c.trim));
        const auto words = ataIdentifyWords(d.disk.description());
        EXPECT_EQ(words[169] & 1, 1);
        EXPECT_EQ(words[69] & 0x4020, c.word69);
        EXPECT_EQ(nvmeIdentifyNamespace(d.disk.description())[33], c.dlfeat);
        std::vector<uint8_t> data(1024, 0x5A), range(512, 0), first(1024), second(1024);
        ASSERT_EQ(ataCommand(d.disk, 0x35, 8, 2, data), atastatus::kGood);
        const uint64_t entry = 8 | 1ull << 48;  // LBA 8, one sector
        std::memcpy(range.data(), &entry, 8);
        ASSERT_EQ(ataCommand(d.disk, 0x06, 0, 1, range), atastatus::kGood);
        ataCommand(d.disk, 0x25, 8, 2, first);
        ataCommand(d.disk, 0x25, 8, 2, second);
        EXPECT_EQ(first[512], 0x5A) << "the sector after the range keeps its data";
        if (c.firstByte >= 0) {
            EXPECT_EQ(std::vector<uint8_t>(first.begin(), first.begin() + 512), std::vector<uint8_t>(512, c.firstByte));
            EXPECT_EQ(first, second);
        } else {
            EXPECT_NE(first, second) << "neither zeros nor deterministic";
        }
        ASSERT_EQ(ataCommand(d.disk, 0x35, 8, 2, data), atastatus::kGood);
        ataCommand(d.disk, 0x25, 8, 2, first);
        EXPECT_EQ(first, data) << "a write ends the trimmed state";
    }
    Disk none(described("ata", {false, false, false}));
    EXPECT_EQ(ataIdentifyWords(none.disk.description())[169] & 1, 0);
    std::vector<uint8_t> range(512, 0);
    EXPECT_EQ(ataCommand(none.disk, 0x06, 0, 1, range) & atastatus::kErr, atastatus::kErr);
}

TEST(TrimSemantics, NvmeDatasetManagementDeallocates) {
    Disk d(described("nvme"));
    std::vector<uint8_t> data(512, 0x77), range(16, 0);
    range[4] = 1, range[8] = 5;  // one block at LBA 5
    ASSERT_EQ(nvmeCommand(d.disk, false, {0x01, 1, 0, 0, 0, 0, 0, 0, 0, 0, 5}, data), 0);
    EXPECT_EQ(nvmeCommand(d.disk, false, {0x09, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x04}, range), 0);
    ASSERT_EQ(nvmeCommand(d.disk, false, {0x02, 1, 0, 0, 0, 0, 0, 0, 0, 0, 5}, data), 0);
    EXPECT_EQ(data, std::vector<uint8_t>(512, 0));
}

TEST(DatalessDisk, DiscardsWritesReadsZerosAndCountsTraffic) {
    DiskDescription description = described("ata");
    description.dataless = true;
    Disk d(description);
    std::vector<uint8_t> data(4096, 0xAB);
    ASSERT_EQ(d.disk.writeMedia(0, data.data(), data.size()), VirtualDisk::MediaResult::Ok);
    ASSERT_EQ(d.disk.readMedia(0, data.data(), data.size()), VirtualDisk::MediaResult::Ok);
    EXPECT_EQ(data, std::vector<uint8_t>(4096, 0));
    EXPECT_FALSE(std::filesystem::exists(d.state.imagePath(0)));
    EXPECT_EQ(d.disk.counters().readCommands, 1u);
    EXPECT_EQ(ataSmartData(description, d.disk.counters(), 0)[2 + 12 * 4 + 5], 8) << "attribute 241, sectors written";
}

// The write-and-trim vendor command: CDW10 is the dword count minus one,
// namespace 1. Every route carries it like any vendor admin command
// (tests/protocol); a run on it is checked by RwEndToEnd.
TEST(WriteTrimRanges, AnswerLayoutLengthAndNamespace) {
    DiskDescription description = described("nvme");
    description.answersWriteTrimRanges = true;
    description.writeTrimRanges = {{100, 8, 1}, {200, 16, 2}};
    Disk d(description);
    std::vector<uint8_t> data(4096, 0xEE);
    ASSERT_EQ(nvmeCommand(d.disk, true, {0xC6, 1, 0, 0, 0, 0, 0, 0, 0, 0, 1023}, data), 0);
    std::vector<uint32_t> answer(10);  // count, reserved, then {lba (2 dwords), sectors, op} per range
    std::memcpy(answer.data(), data.data(), 40);
    EXPECT_EQ(answer, (std::vector<uint32_t>{2, 0, 100, 0, 8, 1, 200, 0, 16, 2}));
    data.assign(4096, 0xEE);
    ASSERT_EQ(nvmeCommand(d.disk, true, {0xC6, 1, 0, 0, 0, 0, 0, 0, 0, 0, 3}, data), 0);
    EXPECT_EQ(data[0], 2) << "the count";
    EXPECT_EQ(data[15], 0) << "the dwords asked for";
    EXPECT_EQ(data[16], 0xEE) << "and no more";
    EXPECT_EQ(nvmeCommand(d.disk, true, {0xC6, 2, 0, 0, 0, 0, 0, 0, 0, 0, 1023}, data), nvmestatus::kInvalidNamespace);
}
