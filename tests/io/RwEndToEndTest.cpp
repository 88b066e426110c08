#include <gtest/gtest.h>
#include <windows.h>

#include <fstream>
#include <regex>

#include "tests/io/Sha256.h"
#include "tests/io/VhostFixture.h"
#include "tests/io/data/pattern_vectors.h"

namespace {

using zeltest::contains;

// Disk 0 holds the Windows folder's letter, disk 1 is a small NVMe disk.
std::string host(const std::string& disk1Extra = "", const std::string& disk2Extra = "") {
    return R"({"disks": [
  {"number": 2, "busType": 11, "model": "Dut SATA", "serial": "DUT-2", "sectorCount": 8192,
   "driver": {"provider": "Microsoft"}, "scsiAddress": {"port": 2})" + disk2Extra + R"(},
  {"number": 0, "busType": 11, "model": "Sys SATA", "serial": "SYS-0", "sectorCount": 8192,
   "driver": {"provider": "Microsoft"}, "scsiAddress": {"port": 0},
   "volumes": [{"letter": "C", "totalBytes": 4194304, "freeBytes": 1048576}]},
  {"number": 1, "busType": 17, "model": "Dut NVMe", "serial": "DUT-1", "sectorCount": 8192,
   "driver": {"provider": "Microsoft"}, "scsiAddress": {"port": 1}, "pci": {"vendorId": "0x1AB2"})" +
           disk1Extra + R"(}]})";
}

using RwEndToEnd = zeltest::VhostFixture;

}  // namespace

TEST_F(RwEndToEnd, EveryWriteModeReadsBackThroughTheSavedImage) {
    const char* writes[] = {"--rw write --size 64", "--rw randwrite --size 64 --bs 32k --totalloop 1",
                            "--rw gapwrite --size 64 --section 16 --gap 16 --bs 8k"};
    for (const char* write : writes) {
        useHost(host());
        auto written = run(std::string("-a rw -d 1 --pattern rand --seed 7 --metadata tag-1 --out-bin img.bin ") + write);
        ASSERT_EQ(written.exitCode, 0u) << write << "\n" << written.output;
        EXPECT_EQ(file("img.bin").size(), 512u) << "one sector image, in the log folder";
        auto read = run("-a rw -d 1 --rw read --size 16 --metadata tag-1 --in-bin img.bin --qd 4");
        EXPECT_EQ(read.exitCode, 0u) << write << "\n" << read.output;
        EXPECT_TRUE(contains(read.output, "[T1] SUCCESS: seq read to disk 1")) << read.output;
        if (contains(write, "gapwrite")) {
            auto gap = run("-a rw -d 1 --rw read --start 16 --size 16 --in-bin img.bin --metadata tag-1");
            EXPECT_EQ(gap.exitCode, 0x20000130u) << "the gap was left alone";
        }
    }
}

// The saved image must be the generator's expansion as an independent
// implementation computed it (tests/io/data).
TEST_F(RwEndToEnd, SeededImageMatchesTheIndependentVectors) {
    useHost(host());
    auto written = run("-a rw -d 1 --rw write --size 8 --pattern rand --seed 1700000000 "
                       "--metadata \"run 7 / thread 1\" --out-bin seeded.bin");
    ASSERT_EQ(written.exitCode, 0u) << written.output;
    for (const auto& image : pattern_vectors::kImages) {
        if (image.seed != 1700000000 || std::string(image.metadata) != "run 7 / thread 1") continue;
        const std::string bytes = file("seeded.bin");
        EXPECT_EQ(testing_sha256::sha256Hex(bytes.data(), bytes.size()), image.sha256);
        return;
    }
    FAIL() << "no vector for the seed";
}

TEST_F(RwEndToEnd, CorruptionGivesTheLbaLineAndBothMiscompareFiles) {
    useHost(host(R"(, "faults": [{"kind": "corrupt", "lba": 100, "count": 8}])"));
    ASSERT_EQ(run("-a rw -d 1 --rw write --pattern fixed --size 1024").exitCode, 0u);
    std::string image;
    for (int i = 0; i < 256; ++i) image += "\x55\xAA";
    std::ofstream(dir_->file("fixed.bin"), std::ios::binary) << image;
    auto read = run("-a rw -d 1 --rw read --size 1024 --in-bin fixed.bin --qd 8");
    EXPECT_EQ(read.exitCode, 0x20000130u) << read.output;
    EXPECT_TRUE(contains(file("run.log"), "WARNING  Data miscompare occurs at LBA 100")) << file("run.log");
    EXPECT_TRUE(contains(file("run.log"), "[T1] FAIL: seq read to disk 1 at LBA offset 100... (LE=0x20000130"));
    const std::string expected = file("miscompare-expected_1.bin"), actual = file("miscompare-actual_1.bin");
    ASSERT_EQ(expected.size(), 256u * 512) << "one transfer of the default block";
    ASSERT_EQ(actual.size(), expected.size());
    EXPECT_EQ(expected.substr(0, 512), image);
    EXPECT_EQ(actual.substr(0, 100 * 512), expected.substr(0, 100 * 512)) << "clean up to LBA 100";
    EXPECT_NE(actual.substr(100 * 512, 512), image);
}

TEST_F(RwEndToEnd, ReadErrorIsReportedLikeAMiscompare) {
    useHost(host(R"(, "faults": [{"kind": "crc_error", "lba": 300, "count": 1}])"));
    auto read = run("-a rw -d 1 --rw read --size 1024");
    EXPECT_EQ(read.exitCode, 23u) << read.output;
    EXPECT_TRUE(contains(file("run.log"), "Data miscompare occurs at LBA 256")) << "the failing transfer's LBA";
}

TEST_F(RwEndToEnd, TheSystemDiskTakesReadsOnly) {
    useHost(host());
    ASSERT_EQ(run("-a rw -d 0 --rw read --size 64").exitCode, 0u);
    for (const char* mode : {"write", "randwrite", "gapwrite", "trim", "randtrim", "vucmdwrtrim"}) {
        auto refused = run(std::string("-a rw -d 0 --size 64 --rw ") + mode);
        EXPECT_EQ(refused.exitCode, 0x20000005u) << mode;
        EXPECT_FALSE(contains(refused.output, "[T1]")) << mode << ": no worker started";
    }
    EXPECT_EQ(run("-a rw -d 0 --rw randread --size 64").exitCode, 0u);
}

TEST_F(RwEndToEnd, PerThreadIniKeysInOrder) {
    useHost(host());
    ASSERT_EQ(run("-a rw -d 1 --rw write --size 64 --seed 5 --out-ini out.ini").exitCode, 0u);
    ASSERT_EQ(run("-a rw -d 1 --rw gapread --size 64 --section 8 --gap 8 --out-ini gap.ini").exitCode, 0u);
    std::regex keys(R"(\[t1\]\r?\nmode=write\r?\nseed=5\r?\niops=0\r?\nspeed=0\.00\r?\nlba_start=0\r?\n)"
                    R"(lba_end=64\r?\nrand_loop_count=0\r?\nlast_error=0)");
    EXPECT_TRUE(std::regex_search(file("out.ini"), keys)) << file("out.ini");
    EXPECT_FALSE(contains(file("gap.ini"), "mode=")) << "gap modes have no mode key";
    EXPECT_TRUE(contains(file("gap.ini"), "lba_end=56")) << "the last section ends before the last gap";
}

TEST_F(RwEndToEnd, OptionChecksInRunOrder) {
    useHost(host());
    struct Case {
        const char* args;
        uint32_t code;
        const char* line;
    } cases[] = {
        {"--rw scramble", 0x20000003, "RW mode not supported!"},
        {"--rw write --iotype disk", 0x20000003, "IO type not supported!"},
        {"--rw write --pattern stripes", 0x20000003, "Pattern type not supported!"},
        {"--rw write --start 8192", 0x2000000E, "start(8192) > totalLBA(8192)"},
    };
    for (const Case& c : cases) {
        auto result = run(std::string("-a rw -d 1 ") + c.args);
        EXPECT_EQ(result.exitCode, c.code) << c.args;
        EXPECT_TRUE(contains(result.output, std::string("WARNING  ") + c.line)) << c.args << result.output;
    }
    SYSTEM_INFO info;
    GetSystemInfo(&info);
    if (info.dwNumberOfProcessors > 1) {
        auto threads = run("-a rw -d 1 --rw write --size 1024 --thread");
        EXPECT_EQ(threads.exitCode, static_cast<uint32_t>(ERROR_INVALID_HANDLE))
            << "one slice for the first thread, an empty slot for the others";
        EXPECT_TRUE(contains(threads.output, "[T1] SUCCESS")) << threads.output;
    }
}

TEST_F(RwEndToEnd, DeepQueueWithOutOfOrderCompletionLosesNothing) {
    useHost(host(R"(, "latencyMicros": {"min": 0, "max": 3000})"));
    ASSERT_EQ(run("-a rw -d 1 --rw write --pattern rand --seed 3 --bs 4k --size 2048 --qd 32 --out-bin q.bin").exitCode,
              0u);
    auto read = run("-a rw -d 1 --rw read --bs 4k --size 2048 --qd 32 --in-bin q.bin --out-ini q.ini");
    EXPECT_EQ(read.exitCode, 0u) << read.output;
    EXPECT_TRUE(contains(read.output, "QD32 seq read")) << read.output;
    EXPECT_TRUE(contains(file("q.ini"), "lba_end=2048"));
}

// What a read of a trimmed range must show follows from what the drive
// promises after a trim.
TEST_F(RwEndToEnd, TrimThenReadFollowsTheDrivesPromise) {
    struct Case {
        const char* disk2Trim;
        int disk;
        uint32_t readCode;
    } cases[] = {
        {"", 1, 0},                                                          // NVMe: zeros
        {R"(, "trim": {"readsZeros": true})", 2, 0},                         // zeros after trim
        {R"(, "trim": {"readsZeros": false, "deterministic": true})", 2, 0},  // two reads agree
        {R"(, "trim": {"readsZeros": false, "deterministic": false})", 2, 0x20000008},
    };
    for (const Case& c : cases) {
        useHost(host("", c.disk2Trim));
        const std::string disk = " -d " + std::to_string(c.disk);
        ASSERT_EQ(run("-a rw --rw write --size 512" + disk).exitCode, 0u) << c.disk2Trim;
        ASSERT_EQ(run("-a rw --rw trim --size 512" + disk).exitCode, 0u) << c.disk2Trim;
        auto read = run("-a rw --rw read --pattern trim --size 512" + disk);
        EXPECT_EQ(read.exitCode, c.readCode) << c.disk2Trim << "\n" << read.output;
        if (c.readCode) {
            EXPECT_TRUE(contains(read.output, "WARNING  TRIM function is not supported"));
        }
    }
}

TEST_F(RwEndToEnd, DeviceFaultsEndTheWorkerWithTheirCode) {
    struct Case {
        const char* fault;
        const char* args;
        uint32_t code;
        const char* lbaEnd;  // where the worker stopped
    } cases[] = {
        {R"({"kind": "write_error", "lba": 64, "count": 8})", "--rw write --size 256 --bs 16k", ERROR_WRITE_FAULT,
         "lba_end=64"},
        {R"({"kind": "timeout", "lba": 0, "count": 8192})", "--rw read --size 256 --qd 4 --timeout 1",
         ERROR_SEM_TIMEOUT, "lba_end=0"},
        {R"({"kind": "vanish", "after": 3})", "--rw read --size 2048 --bs 4k --qd 8", ERROR_DEVICE_NOT_CONNECTED,
         "lba_end="},
    };
    for (const Case& c : cases) {
        useHost(host(std::string(R"(, "faults": [)") + c.fault + "]"));
        auto result = run(std::string("-a rw -d 1 --out-ini fault.ini ") + c.args);
        EXPECT_EQ(result.exitCode, c.code) << c.fault << "\n" << result.output;
        EXPECT_TRUE(contains(result.output, "[T1] FAIL:")) << c.fault;
        EXPECT_TRUE(contains(file("fault.ini"), c.lbaEnd)) << c.fault << "\n" << file("fault.ini");
        EXPECT_TRUE(contains(file("fault.ini"), "last_error=" + std::to_string(c.code))) << c.fault;
    }
}

TEST_F(RwEndToEnd, DmaAndVendorWriteTrim) {
    useHost(host(R"(, "writeTrimRanges": [{"lba": 0, "sectors": 64, "op": "write"},
                                          {"lba": 64, "sectors": 64, "op": "trim"}])"));
    ASSERT_EQ(run("-a rw -d 2 --rw write --size 256 --dma --out-bin dma.bin").exitCode, 0u);
    EXPECT_EQ(run("-a rw -d 2 --rw read --size 256 --dma --in-bin dma.bin").exitCode, 0u);

    ASSERT_EQ(run("-a rw -d 1 --rw write --size 256 --out-bin all.bin").exitCode, 0u);
    auto mode10 = run("-a rw -d 1 --rw vucmdwrtrim --pattern zero --bs 16k");
    EXPECT_EQ(mode10.exitCode, 0u) << mode10.output;
    EXPECT_TRUE(contains(mode10.output, "[T1] wirte and trim (offset retrieved from VU cmd) from")) << mode10.output;
    EXPECT_EQ(run("-a rw -d 1 --rw read --size 128 --pattern zero").exitCode, 0u) << "written with zeros, then trimmed";
    EXPECT_EQ(run("-a rw -d 1 --rw read --start 128 --size 128 --in-bin all.bin").exitCode, 0u) << "left alone";
    EXPECT_EQ(run("-a rw -d 2 --rw vucmdwrtrim").exitCode, 0x20000008u) << "not an NVMe disk";
}
