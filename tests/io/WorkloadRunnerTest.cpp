#include <gtest/gtest.h>

#include <sstream>

#include "core/ErrorCodes.h"
#include "io/WorkloadRunner.h"
#include "tests/support/LogCapture.h"

namespace {

using zel::WorkloadKind;
using zel::WorkloadLine;

// Records the operations it is given; the first one named failOn fails.
// The written pattern is read back end to end; here its alignment for
// unbuffered writes.
class FakeDisk : public zel::IWorkloadDisk {
public:
    bool writeSectors(uint64_t, uint32_t, const uint8_t* data) override {
        aligned = aligned && reinterpret_cast<uintptr_t>(data) % 4096 == 0;
        return record("write");
    }
    bool trimSectors(uint64_t, uint32_t) override { return record("trim"); }
    bool flush() override { return record("flush"); }

    std::vector<std::string> calls;
    std::string failOn = "none";
    zel::ErrorCode failure = 0;
    bool aligned = true;

private:
    bool record(const std::string& call) {
        calls.push_back(call);
        if (call.rfind(failOn, 0) != 0) return true;
        zel::setLastError(failure);
        return false;
    }
};

TEST(WorkloadLines, MarkerKeywordsAndOperands) {
    struct Case {
        const char* line;
        WorkloadLine result;
        WorkloadKind kind = WorkloadKind::Flush;
        uint64_t lba = 0;
        uint32_t sectors = 0;
    } cases[] = {
        {"$write 100 8", WorkloadLine::Command, WorkloadKind::Write, 100, 8},
        {"write 100 8", WorkloadLine::NotACommand}, {"", WorkloadLine::NotACommand},
        {"$trim 0 8", WorkloadLine::Rejected}, {"$trims 0 8", WorkloadLine::Command, WorkloadKind::Trim, 0, 8},
        {"$readahead 5 1", WorkloadLine::Command, WorkloadKind::Read, 5, 1},  // a prefix is enough
        {"$flush 7 9 extra", WorkloadLine::Command, WorkloadKind::Flush},
        {"$write 100", WorkloadLine::Rejected}, {"$write 100 8 ", WorkloadLine::Rejected},
        {"$write  100 8", WorkloadLine::Rejected}, {"$ write 1 1", WorkloadLine::Rejected},
        {"$write 100 8\r", WorkloadLine::Command, WorkloadKind::Write, 100, 8},
        {"$write 18446744073709551615 4294967295", WorkloadLine::Command, WorkloadKind::Write, UINT64_MAX, UINT32_MAX},
        {"$write 18446744073709551616 1", WorkloadLine::Rejected}, {"$write 1 4294967296", WorkloadLine::Rejected},
        {"$write -1 8", WorkloadLine::Rejected}, {"$write 0x10 8", WorkloadLine::Rejected},
    };
    for (const Case& c : cases) {
        zel::setLastError(0);
        zel::WorkloadCommand command;
        EXPECT_EQ(zel::parseWorkloadLine(c.line, &command), c.result) << c.line;
        EXPECT_EQ(zel::lastError(), c.result == WorkloadLine::Rejected ? 0x20000140u : 0u) << c.line;
        const bool same = command.kind == c.kind && command.lba == c.lba && command.sectors == c.sectors;
        EXPECT_TRUE(c.result != WorkloadLine::Command || same) << c.line;
    }
}

TEST(WorkloadPlacement, WrapsPastTheEndAndBucketsByHundredths) {
    // 992 ends on the last sector; past that the LBA wraps; a command longer than the disk has no place.
    const uint64_t places[][3] = {{100, 8, 100}, {992, 8, 992}, {999, 8, 999 % 992}, {UINT64_MAX, 8, UINT64_MAX % 992},
                                  {5, 1000, 0}};
    for (const auto& p : places) EXPECT_EQ(zel::placeWorkloadCommand(p[0], p[1], 1000), p[2]) << p[0] << "+" << p[1];
    EXPECT_EQ(zel::placeWorkloadCommand(0, 1001, 1000), std::nullopt);

    const uint64_t buckets[][3] = {{9, 1000, 0},  {10, 1000, 1}, {990, 1000, 99}, {5000, 1000, 99},
                                   {1049, 1050, 99}, {49, 50, 49}, {200, 50, 99},  {3, 0, 3}};
    for (const auto& b : buckets) EXPECT_EQ(zel::workloadBucket(b[0], b[1]), b[2]) << b[0] << "/" << b[1];
}

// Shares, every key of workload_info in its order, the line of a parse
// failure and a replay's wraps are run end to end (WorkloadEndToEnd); here
// the log, a file of flushes only, buffer alignment and failures on the disk.
TEST(WorkloadAnalysis, LogsTheAnalysisAndOnlyFlushesNeedNoBuffer) {
    zeltest::LogCapture log;
    std::istringstream file("$flush\n# note\n$flush\n");
    zel::WorkloadRunner runner(file);
    ASSERT_TRUE(runner.analyze(1000));
    EXPECT_TRUE(log.contains("INFO     Analyzing workload file..."));
    EXPECT_TRUE(log.contains("INFO     Total flush cmds = 2 (100.0%)"));
    EXPECT_FALSE(log.contains("Parsing line")) << "console only";
    FakeDisk disk;
    ASSERT_TRUE(runner.execute(disk, {1000, 512}));
    EXPECT_EQ(runner.bufferBytes(), 0u);
    EXPECT_EQ(disk.calls, (std::vector<std::string>{"flush", "flush"}));
}

TEST(WorkloadExecution, AFailedCommandStopsTheRunWithItsError) {
    struct {  // calls: the failing one last
        const char *file, *failOn; zel::ErrorCode diskError, result; const char* warning; int fileLine; size_t calls;
    } cases[] = {
        {"$write 0 8\n$flush\n", "write", 0x45D, 0x45D, "Cannot execute write command", 1, 1},
        {"$write 0 8\n$trims 8 8\n$flush\n", "trim", 0, 0x20000141, "Cannot execute trim command", 2, 2},
        {"# x\n$write 0 8\n$flush\n$write 8 8\n", "flush", 0x15, 0x15, "Cannot execute flush command", 3, 2},
        {"$write 0 8\n$trims 0 1001\n$flush\n", "none", 0, 0x2000000E, "Cannot execute trim command", 2, 1},
    };
    for (const auto& c : cases) {
        zeltest::LogCapture log;
        std::istringstream file(c.file);
        zel::WorkloadRunner runner(file);
        ASSERT_TRUE(runner.parse(1000));
        FakeDisk disk;
        disk.failOn = c.failOn;
        disk.failure = c.diskError;
        zel::setLastError(0x20000001);  // an earlier, forgiven failure must not leak through
        EXPECT_FALSE(runner.execute(disk, {1000, 512})) << c.file;
        EXPECT_EQ(zel::lastError(), c.result) << c.file;
        EXPECT_TRUE(log.contains(std::string("WARNING  ") + c.warning)) << c.file;
        EXPECT_TRUE(log.contains("WARNING  Failed to execute workload command, err line # = " + std::to_string(c.fileLine)))
            << c.file;
        EXPECT_EQ(disk.calls.size(), c.calls) << c.file;
        EXPECT_TRUE(disk.aligned) << "unbuffered writes need an aligned buffer";
    }
}

}  // namespace
