#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

#include "core/ErrorCodes.h"
#include "core/TextFormat.h"
#include "power/ColdBoot.h"
#include "power/ShutdownNotification.h"
#include "power/SystemPower.h"
#include "tests/power/PowerTestHost.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/InstalledHost.h"
#include "tests/support/LogCapture.h"

namespace {

using nlohmann::json;

class SystemPower : public testing::Test {
protected:
    SystemPower() : installed_(zeltest::powerHost()) {}
    void SetUp() override { zeltest::freshRun(); }
    void TearDown() override { zeltest::freshRun(); }

    zel::ErrorCode run(zel::PowerControl control, double sleepDelay = 60, int diskNumber = 1) {
        zel::PowerJob job;
        job.control = control;
        job.sleepDelaySeconds = sleepDelay;
        zel::DiskBase* disk = zeltest::builtDisk(diskNumber);
        EXPECT_NE(disk, nullptr);
        return zel::runSystemPower(job, *disk);
    }
    std::vector<json> events() {
        std::vector<json> parsed;
        for (const std::string& line : installed_.host().powerEvents()) parsed.push_back(json::parse(line));
        return parsed;
    }
    const zel::vhost::DiskCounters& counters(int number) { return installed_.host().disk(number)->counters(); }
    // The port writes since the last call, as "PORT=VALUE" texts from the host's log.
    std::vector<std::string> portWrites() {
        std::vector<std::string> writes;
        const std::string log = zeltest::readFile(installed_.stateFile("port-writes.log"));
        size_t line = 0;
        for (size_t at = 0; at < log.size(); ++line) {
            const size_t end = log.find('\n', at);
            unsigned port = 0, value = 0, size = 0;
            if (line >= seenWrites_ && std::sscanf(log.c_str() + at, "0x%X 0x%X %u", &port, &value, &size) == 3)
                writes.push_back(zel::formatText("%X=%X", port, value));
            at = end == std::string::npos ? log.size() : end + 1;
        }
        seenWrites_ = line;
        return writes;
    }

    zeltest::InstalledHost installed_;
    size_t seenWrites_ = 0;
};

}  // namespace

// Every port write in order, for times a run cannot choose: the alarm past
// midnight, then the exact 86400 (hour 24) after a wake by the alarm, when
// RTC_STS (bit 10) reads set and is written back, which clears it. What the
// host makes of the writes is checked end to end.
TEST_F(SystemPower, ColdBootWritesTheRtcAlarmAndEntersS5) {
    struct Case {
        zel::TimeOfDay now;
        const char *sec, *min, *hour, *pm1;
    } cases[] = {
        {{23, 59, 10}, "71=10", "71=0", "71=0", "1800=4000000"},
        {{23, 59, 0}, "71=0", "71=0", "71=24", "1800=4000400"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.hour);
        portWrites();
        EXPECT_EQ(zel::runColdBoot(60, c.now), 0u);
        const std::vector<std::string> expected = {
            "70=1", c.sec, "70=3", c.min, "70=5", c.hour, "70=C", "70=B", "70=B", "71=22",
            "A1=FE", "21=FB", c.pm1, "1804=3C01"};
        EXPECT_EQ(portWrites(), expected);
    }
    EXPECT_EQ(events().size(), 2u);
}

TEST_F(SystemPower, NotifiedNvmeDiskIsNotAnUnsafeShutdown) {
    ASSERT_EQ(zel::notifyNvmeShutdown(*zeltest::builtDisk(2)), 0u);
    portWrites();
    EXPECT_EQ(run(zel::PowerControl::CpuReset), 0u);
    const json last = events().back();
    EXPECT_EQ(last["event"], "cpu-reset");
    EXPECT_EQ(last["reset"], "cold");
    EXPECT_EQ(last["unsafeShutdowns"], json({0, 1, 3}));
    EXPECT_EQ(counters(2).powerCycles, 1u);
    EXPECT_EQ(counters(2).unsafeShutdowns, 0u);
    EXPECT_EQ(counters(1).unsafeShutdowns, 1u);
    EXPECT_EQ(portWrites(), (std::vector<std::string>{"CF9=A", "CF9=E"}));

    // The power cycle reset the controller: the notification is gone.
    EXPECT_EQ(run(zel::PowerControl::CpuReset), 0u);
    EXPECT_EQ(counters(2).unsafeShutdowns, 1u);
}

// D3hot and back through the PM capability of the disk asked for; the
// events' names are checked end to end.
TEST_F(SystemPower, D3HotAndBackToD0) {
    zeltest::LogCapture log;
    EXPECT_EQ(run(zel::PowerControl::D3Hot, 0.1, 2), 0u);
    const std::vector<json> all = events();
    ASSERT_EQ(all.size(), 2u);
    EXPECT_EQ(all[0]["disk"], 2);
    EXPECT_EQ(all[0]["from"], "D0");
    EXPECT_EQ(all[1]["from"], "D3hot");
    EXPECT_EQ(counters(2).powerCycles, 0u) << "the disk keeps its power";
    EXPECT_TRUE(log.contains("INFO     Write PCI 03:00.0 0x44 B, set D3hot"));
    EXPECT_TRUE(log.contains("INFO     Write PCI 03:00.0 0x44 8, set D0"));
}

TEST_F(SystemPower, RefusalsAndOtherControls) {
    zeltest::LogCapture log;
    EXPECT_EQ(run(zel::PowerControl::D3Hot, 0, 0), zel::err::kD3Hot);
    EXPECT_TRUE(log.contains("WARNING  No PCI power management capability on disk 0"));
    EXPECT_EQ(zel::lastError(), zel::err::kD3Hot);
    EXPECT_EQ(run(zel::PowerControl::Gsd), zel::err::kNotSupported);
    EXPECT_TRUE(events().empty());
}
