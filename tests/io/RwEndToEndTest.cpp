#include <gtest/gtest.h>
#include <windows.h>

#include <regex>

#include "tests/io/Sha256.h"
#include "tests/io/VhostFixture.h"
#include "tests/io/data/pattern_vectors.h"

namespace {

using zeltest::contains;

using zeltest::ioHost;
// Most runs take the plain I/O host; a test that needs another sets it up first.
struct RwEndToEnd : zeltest::VhostFixture {
    void SetUp() override { useHost(ioHost()); }
};

}  // namespace

// The saved image must be the generator's expansion as an independent
// implementation computed it (tests/io/data), and read back what was written.
TEST_F(RwEndToEnd, EveryWriteModeReadsBackThroughTheSavedImage) {
    const pattern_vectors::Image* vector = nullptr;
    for (const auto& image : pattern_vectors::kImages)
        if (image.seed == 1700000000 && std::string(image.metadata) == "run 7 / thread 1") vector = &image;
    ASSERT_NE(vector, nullptr);
    const char* writes[] = {"--rw write --size 64", "--rw randwrite --size 64 --bs 32k --totalloop 1",
                            "--rw gapwrite --size 64 --section 16 --gap 16 --bs 8k"};
    for (const char* write : writes) {
        useHost(ioHost());
        runExpecting(std::string("-a rw -d 1 --pattern rand --seed 1700000000 --metadata \"run 7 / thread 1\" "
                                 "--out-bin img.bin ") + write, 0);
        const std::string image = file("img.bin");  // one sector, in the log folder
        EXPECT_EQ(testing_sha256::sha256Hex(image.data(), image.size()), vector->sha256) << write;
        runExpecting("-a rw -d 1 --rw read --size 16 --metadata \"run 7 / thread 1\" --in-bin img.bin --qd 4", 0,
                     {"[T1] SUCCESS: seq read to disk 1"});
    }
    // The gap was left alone.
    runExpecting("-a rw -d 1 --rw read --start 16 --size 16 --in-bin img.bin --metadata \"run 7 / thread 1\"",
                 0x20000130u);
}

// Both dump files hold what the run had; one left empty says why.
TEST_F(RwEndToEnd, MiscomparesAndReadErrorsLeaveBothDumps) {
    // dumpBytes: the expected dump's size; 0: empty, with the line that says so.
    struct { const char *what, *disk2, *read; uint32_t code, failedAt; size_t dumpBytes; bool trimFirst; } cases[] = {
        {"corrupted data", R"(, "faults": [{"kind": "corrupt", "lba": 100, "count": 8}])",
         "--rw read --size 1024 --in-bin fixed.bin --qd 8", 0x20000130, 100, 256 * 512, false},
        {"read error, nothing to compare with", R"(, "faults": [{"kind": "media_error", "lba": 300, "count": 1}])",
         "--rw read --size 1024", ERROR_CRC, 256, 0, false},
        {"read error against an image", R"(, "faults": [{"kind": "media_error", "lba": 300, "count": 1}])",
         "--rw read --size 1024 --in-bin fixed.bin --qd 4", ERROR_CRC, 256, 256 * 512, false},
        {"a drive that promises deterministic trims and keeps none",
         R"(, "trim": {"readsZeros": false, "deterministic": false}, "identifyWords": {"69": 16384})",
         "--rw read --pattern trim --size 512 --bs 16k", 0x20000130, 0, 32 * 512, true},
    };
    std::string fixed;
    for (int i = 0; i < 256; ++i) fixed += "\x55\xAA";
    for (const auto& c : cases) {
        useHost(ioHost("", c.disk2));
        ASSERT_EQ(run("-a rw -d 2 --rw write --size 1024 --pattern fixed --out-bin fixed.bin").exitCode, 0u) << c.what;
        ASSERT_EQ(file("fixed.bin"), fixed);
        if (c.trimFirst) ASSERT_EQ(run("-a rw -d 2 --rw trim --size 512").exitCode, 0u) << c.what;
        auto read = runExpecting("-a rw -d 2 " + std::string(c.read), c.code);
        const std::string log = file("run.log");
        EXPECT_TRUE(contains(log, "WARNING  Data miscompare occurs at LBA " + std::to_string(c.failedAt))) << c.what << log;
        const std::string expected = file("miscompare-expected_1.bin"), actual = file("miscompare-actual_1.bin");
        EXPECT_EQ(expected.size(), c.dumpBytes) << c.what;
        EXPECT_EQ(contains(log, "miscompare-expected_1.bin is empty"), c.dumpBytes == 0) << c.what;
        EXPECT_FALSE(actual.empty()) << c.what << ": the transfer as the read left it";
        if (c.dumpBytes) EXPECT_NE(actual, expected) << c.what;
        EXPECT_EQ(contains(log, "holds the transfer buffer as the failed read left it"), c.code == ERROR_CRC)
            << c.what;
        if (c.failedAt != 100) continue;
        EXPECT_TRUE(contains(log, "[T1] FAIL: seq read to disk 2 at LBA offset 100... (LE=0x20000130")) << log;
        EXPECT_EQ(expected.substr(0, 512), fixed);
        EXPECT_EQ(actual.substr(0, 100 * 512), expected.substr(0, 100 * 512)) << "clean up to LBA 100";
    }
}

TEST_F(RwEndToEnd, TheSystemDiskTakesReadsOnly) {
    runExpecting("-a rw -d 0 --rw read --size 64", 0u, {"INFO     [T1] No --in-bin image to compare with"});
    // Every writing mode on every kind of OS drive is refused by OsDriveMatrix (tests/app); here the line.
    for (const char* mode : {"--rw trim", "--rw write --iotype file --src C:\\x.bin"}) {
        auto result = runExpecting(std::string("-a rw -d 0 --size 64 ") + mode, 0x20000005u,
                                   {"WARNING  Disk 0 holds the Windows volume"});
        EXPECT_FALSE(contains(result.output, "[T1]")) << mode << ": no worker started";
    }
}

TEST_F(RwEndToEnd, PerThreadIniKeysInOrder) {
    ASSERT_EQ(run("-a rw -d 1 --rw write --size 64 --seed 5 --out-ini out.ini").exitCode, 0u);
    ASSERT_EQ(run("-a rw -d 1 --rw gapread --size 64 --section 8 --gap 8 --out-ini gap.ini").exitCode, 0u);
    std::regex keys(R"(\[t1\]\r?\nmode=write\r?\nseed=5\r?\niops=0\r?\nspeed=0\.00\r?\nlba_start=0\r?\n)"
                    R"(lba_end=64\r?\nrand_loop_count=0\r?\nlast_error=0)");
    EXPECT_TRUE(std::regex_search(file("out.ini"), keys)) << file("out.ini");
    EXPECT_FALSE(contains(file("gap.ini"), "mode=")) << "gap modes have no mode key";
    EXPECT_TRUE(contains(file("gap.ini"), "lba_end=56")) << "the last section ends before the last gap";
}

TEST_F(RwEndToEnd, OptionChecksInRunOrder) {
    struct Case { const char* args; uint32_t code; const char* line; } cases[] = {
        {"--rw scramble", 0x20000003, "RW mode not supported!"},
        {"--rw write --iotype disk", 0x20000003, "IO type not supported!"},
        {"--rw write --pattern stripes", 0x20000003, "Pattern type not supported!"},
        {"--rw write --start 8192", 0x2000000E, "start(8192) > totalLBA(8192)"},
        {"-d 3 --rw write --start 8192 --align 4096", 0x20000133, "Test range is too small. [8192, 8192)"},
        {"--rw write --size 0x1F --out-ini small.ini", 0,
         "--size of 31 bytes is less than one sector of 512 bytes: it counts as 0, a random count"},
    };
    for (const Case& c : cases) {
        const std::string args = std::string("-a rw ") + (contains(c.args, "-d ") ? "" : "-d 1 ") + c.args;
        auto result = runExpecting(args, c.code, {std::string("WARNING  ") + c.line});
        EXPECT_EQ(contains(result.output, "[T1]"), c.code == 0) << c.args << ": refusals start no worker";
    }
    SYSTEM_INFO info;
    GetSystemInfo(&info);
    if (info.dwNumberOfProcessors > 1) {
        // One slice for the first thread, an empty slot for the others.
        auto threads =
            runExpecting("-a rw -d 1 --rw write --size 1024 --thread", ERROR_INVALID_HANDLE, {"[T1] SUCCESS"});
        EXPECT_TRUE(std::regex_search(threads.output, std::regex(R"(WARNING  \d+ of \d+ thread slots stay empty .*)"
                                                                 R"(\[T1\] ended with SUCCESS, the wait .* fails \(LE=0x6)")))
            << threads.output;
    }
}

TEST_F(RwEndToEnd, DeepQueueWithOutOfOrderCompletionLosesNothing) {
    useHost(ioHost(R"(, "latencyMicros": {"min": 0, "max": 3000})"));
    // 300 transfers in 32 slots: the last slot's transfer is not the last one.
    runExpecting("-a rw -d 1 --rw write --pattern rand --seed 3 --bs 4k --size 2400 --qd 32 --out-bin q.bin "
                 "--out-ini w.ini", 0, {"[100%] seq write 2400..."});
    runExpecting("-a rw -d 1 --rw read --bs 4k --size 2400 --qd 32 --in-bin q.bin --out-ini q.ini", 0u,
                 {"QD32 seq read"});
    for (const char* ini : {"q.ini", "w.ini"}) EXPECT_TRUE(contains(file(ini), "lba_end=2400")) << ini << file(ini);
}

// What a read of a trimmed range must show follows from what the drive
// promises after a trim.
TEST_F(RwEndToEnd, TrimThenReadFollowsTheDrivesPromise) {
    struct Case { const char* disk2Trim; int disk; uint32_t readCode; } cases[] = {
        {"", 1, 0},                                                          // NVMe: zeros
        {R"(, "trim": {"readsZeros": true})", 2, 0},                         // zeros after trim
        {R"(, "trim": {"readsZeros": false, "deterministic": true})", 2, 0},  // two reads agree
        {R"(, "trim": {"readsZeros": false, "deterministic": false})", 2, 0x20000008},
    };
    for (const Case& c : cases) {
        useHost(ioHost("", c.disk2Trim));
        const std::string disk = " -d " + std::to_string(c.disk);
        ASSERT_EQ(run("-a rw --rw write --size 512" + disk).exitCode, 0u) << c.disk2Trim;
        ASSERT_EQ(run("-a rw --rw trim --size 512" + disk).exitCode, 0u) << c.disk2Trim;
        runExpecting("-a rw --rw read --pattern trim --size 512" + disk, c.readCode,
                     {c.readCode ? "WARNING  TRIM function is not supported" : ""});
    }
}

TEST_F(RwEndToEnd, DeviceFaultsEndTheWorkerWithTheirCode) {
    // lbaEnd: where the worker stopped.
    struct Case { const char *fault, *args; uint32_t code; const char* lbaEnd; } cases[] = {
        {R"({"kind": "write_error", "lba": 64, "count": 8})", "--rw write --size 256 --bs 16k", ERROR_WRITE_FAULT,
         "lba_end=64"},
        {R"({"kind": "timeout", "lba": 0, "count": 8192})", "--rw read --size 256 --qd 4 --timeout 1",
         ERROR_SEM_TIMEOUT, "lba_end=0"},
        {R"({"kind": "vanish", "after": 3})", "--rw read --size 2048 --bs 4k --qd 8", ERROR_DEVICE_NOT_CONNECTED,
         "lba_end="},
    };
    for (const Case& c : cases) {
        useHost(ioHost(std::string(R"(, "faults": [)") + c.fault + "]"));
        runExpecting(std::string("-a rw -d 1 --out-ini fault.ini ") + c.args, c.code, {"[T1] FAIL:"});
        EXPECT_TRUE(contains(file("fault.ini"), c.lbaEnd)) << c.fault << "\n" << file("fault.ini");
        EXPECT_TRUE(contains(file("fault.ini"), "last_error=" + std::to_string(c.code))) << c.fault;
    }
}

TEST_F(RwEndToEnd, DmaAndVendorWriteTrim) {
    useHost(ioHost(R"(, "writeTrimRanges": [{"lba": 0, "sectors": 64, "op": "write"},
                                          {"lba": 64, "sectors": 64, "op": "trim"}])"));
    ASSERT_EQ(run("-a rw -d 2 --rw write --size 256 --dma --out-bin dma.bin").exitCode, 0u);
    EXPECT_EQ(run("-a rw -d 2 --rw read --size 256 --dma --in-bin dma.bin").exitCode, 0u);

    ASSERT_EQ(run("-a rw -d 1 --rw write --size 256 --out-bin all.bin").exitCode, 0u);
    runExpecting("-a rw -d 1 --rw vucmdwrtrim --pattern zero --bs 16k", 0u,
                 {"[T1] wirte and trim (offset retrieved from VU cmd) from"});
    EXPECT_EQ(run("-a rw -d 1 --rw read --size 128 --pattern zero").exitCode, 0u) << "written with zeros, then trimmed";
    EXPECT_EQ(run("-a rw -d 1 --rw read --start 128 --size 128 --in-bin all.bin").exitCode, 0u) << "left alone";
    EXPECT_EQ(run("-a rw -d 2 --rw vucmdwrtrim").exitCode, 0x20000008u) << "not an NVMe disk";
}

// Transfers longer than the 16-bit ATA sector count carries, on the port
// route (65536 as 0) and through a SAT bridge.
TEST_F(RwEndToEnd, DmaTransfersAboveTheSectorCountAreSplit) {
    const char* routes[] = {R"("busType": 11, "scsiAddress": {"port": 4})",
                            R"("busType": 7, "satBridge": true, "scsiAddress": {"port": 4})"};
    for (const char* route : routes) {
        useHost(std::string(R"({"disks": [{"number": 4, "model": "Big SATA", "serial": "BIG-4", "sectorCount": 70000,
            "driver": {"provider": "Microsoft"}, )") + route + "}]}");
        runExpecting("-a rw -d 4 --rw write --dma --bs 64m --size 70000 --pattern rand --seed 5 --out-bin big.bin", 0,
                     {"by block size 70000"});
        runExpecting("-a rw -d 4 --rw read --bs 1m --size 70000 --in-bin big.bin", 0);  // every sector was written
        runExpecting("-a rw -d 4 --rw read --dma --bs 64m --size 70000 --in-bin big.bin --out-ini dma.ini", 0);
        EXPECT_TRUE(contains(file("dma.ini"), "lba_end=70000")) << route;
    }
}

// Ranges of 2^32 sectors or more reach the worker whole: a trim of a
// data-less 2 TiB disk costs nothing and shows the range it covered.
TEST_F(RwEndToEnd, RangesOfTwoToTheThirtyTwoSectorsAndMore) {
    useHost(R"({"disks": [{"number": 1, "busType": 17, "model": "Wide NVMe", "serial": "W-1",
        "sectorCount": 4294971392, "media": "none", "driver": {"provider": "Microsoft"},
        "scsiAddress": {"port": 1}, "pci": {"vendorId": "0x1AB2"}}]})");
    runExpecting("-a rw -d 1 --rw trim --out-ini wide.ini", 0u, {"[T1] disk 1, seq trim, range [0, 4294971392)"});
    EXPECT_TRUE(contains(file("wide.ini"), "lba_end=4294971392")) << file("wide.ini");
    runExpecting("-a rw -d 1 --rw read --start 4294967296 --size 8 --out-ini tail.ini", 0u);
    EXPECT_TRUE(contains(file("tail.ini"), "lba_end=4294967304")) << file("tail.ini");
}

// --bs 0: transfers of random lengths up to 1 MiB, fewer than one per sector.
TEST_F(RwEndToEnd, BlockSizeZeroTakesRandomLengths) {
    runExpecting("-a rw -d 1 --rw write --bs 0 --size 8192 --seed 11 --pattern rand --out-bin r.bin", 0u,
                 {"INFO     --bs 0: every transfer takes a random length from 1 to 2048 sectors"});
    std::smatch count;
    const std::string counters = file("host.json.state/counters.json");
    ASSERT_TRUE(std::regex_search(counters, count, std::regex(R"("1"\s*:\s*\{[^}]*"writeCommands"\s*:\s*(\d+))")))
        << counters;
    const unsigned long writes = std::stoul(count[1]);
    EXPECT_GE(writes, 4u) << "at most 2048 sectors each";
    EXPECT_LT(writes, 8192u / 16) << "not one sector each";
    EXPECT_EQ(run("-a rw -d 1 --rw read --bs 0 --size 8192 --seed 12 --in-bin r.bin --qd 4").exitCode, 0u);
}

// The miniport and RST routes hand back the drive's refusal of C6h in the
// completion only; a refusal on the inbox route fails too.
TEST_F(RwEndToEnd, VendorWriteTrimFailsWhenTheDriveRefusesItOnEveryRoute) {
    const char* miniport = R"("busType": 17, "driver": {"provider": "Kestrel Storage Inc."}, "scsiAddress": {"port": 5})";
    // code 1: any failure.
    const struct { std::string disk; uint32_t code; const char* line; } cases[] = {
        {miniport, 0x20000125, "[T1] FAIL: wirte and trim"},
        {R"("busType": 8, "driver": {"provider": "Intel Corporation"}, "scsiAddress": {"port": 5, "path": 1})",
         0x20000125, "[T1] FAIL: wirte and trim"},
        {R"("busType": 17, "driver": {"provider": "Microsoft"}, "scsiAddress": {"port": 5})", 1, ""},
        {std::string(miniport) + R"(, "writeTrimRanges": [{"lba": 8, "sectors": 8, "op": "write"}])", 0,
         "[T1] The drive asks for 1 ranges"},
    };
    for (const auto& c : cases) {
        useHost(R"({"disks": [{"number": 5, "model": "VU NVMe", "serial": "VU-5", "sectorCount": 4096,
            "pci": {"vendorId": "0x1E7F"}, )" + c.disk + "}]}");
        auto result = run("-a rw -d 5 --rw vucmdwrtrim");
        EXPECT_TRUE(c.code == 1 ? result.exitCode != 0 : result.exitCode == c.code) << c.disk << "\n" << result.output;
        EXPECT_TRUE(contains(result.output, c.line)) << c.disk << "\n" << result.output;
    }
}
