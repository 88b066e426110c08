#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <regex>
#include <sstream>

#include <nlohmann/json.hpp>

#include "tests/power/PowerTestHost.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TempDir.h"

namespace {

using zeltest::contains;

using nlohmann::json;

// A pwr run of ZelCli.exe against the power test host in its own folder.
class PowerRun {
public:
    explicit PowerRun(const std::string& top = "") {
        std::ofstream(dir_.file("host.json"), std::ios::binary) << zeltest::powerHost(top);
    }
    zeltest::ChildResult run(const std::string& control, const std::string& more = "") {
        const auto start = std::chrono::steady_clock::now();
        auto result = zeltest::runZelCli("-a pwr -d 1 --pwrid 3 --pwrctrl " + control + " " + more, dir_.path(),
                                         {"ZELCLI_VHOST=" + dir_.file("host.json")});
        seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        return result;
    }
    std::string state(const std::string& name) const { return dir_.file("host.json.state\\" + name); }
    std::vector<json> events() const {
        std::vector<json> parsed;
        std::istringstream lines(zeltest::readFile(state("power-events.log")));
        for (std::string line; std::getline(lines, line);) parsed.push_back(json::parse(line));
        return parsed;
    }
    json counters() const { return json::parse(zeltest::readFile(state("counters.json"))); }

    double seconds = 0;

private:
    zeltest::TempDir dir_;
};

int secondsOf(int h, int m, int s) { return h * 3600 + m * 60 + s; }

}  // namespace

// The nine printed lines agree with each other, with the CMOS writes the
// host saw and with the alarm the host decoded from them.
TEST(SystemPowerEndToEnd, ColdBootPrintsItsNineLinesAndTheHostRecordsAlarmAndS5) {
    PowerRun power;
    auto run = power.run("coldboot", "--sleepdelay 0x5A");
    ASSERT_EQ(run.exitCode, 0u) << run.output;
    const std::regex lines(
        R"(INFO     Entering S5\.\.\.\r?\n)"
        R"(now curr=(\d+), hr=(\d+), min=(\d+), sec=(\d+)\r?\n)"
        R"(alarmtime1=(\d+)\r?\n)"
        R"(Alarm hr=(\d+), min=(\d+), sec=(\d+)\r?\n)"
        R"(Alarm BCD hr=([0-9A-F]+), min=([0-9A-F]+), sec=([0-9A-F]+)\r?\n)"
        R"(Write CMOS 0x70/0x71 0xB/22, enable alarm interrupt\r?\n)"
        R"(Write IO 0xA1 FE, unmask RTC interrupt\r?\n)"
        R"(Write IO 0x21 FB, unmask master to slave\r?\n)"
        R"(Write IO 1800 4000000, clear RTC_STS and set RTC_EN\r?\n)"
        R"(Write IO 1804 3C01, set PM1_CNT S5\r?\n)");
    std::smatch m;
    ASSERT_TRUE(std::regex_search(run.output, m, lines)) << run.output;
    auto n = [&](int i) { return std::stoi(m[i].str()); };
    auto hex = [&](int i) { return std::stoi(m[i].str(), nullptr, 16); };
    EXPECT_EQ(n(1), secondsOf(n(2), n(3), n(4)));
    EXPECT_EQ(n(5), n(1) + 90);
    const int alarm = secondsOf(n(6), n(7), n(8));
    EXPECT_TRUE(alarm == n(5) || alarm == n(5) - 86400) << alarm;
    for (int i = 0; i < 3; ++i) EXPECT_EQ(hex(9 + i), n(6 + i) / 10 * 16 + n(6 + i) % 10) << "BCD of field " << i;

    std::string writes = zeltest::readFile(power.state("port-writes.log"));
    writes.erase(std::remove(writes.begin(), writes.end(), '\r'), writes.end());
    char alarmWrites[200];
    std::snprintf(alarmWrites, sizeof alarmWrites,
                  "0x0070 0x00000001 1\n0x0071 0x%08X 1\n0x0070 0x00000003 1\n0x0071 0x%08X 1\n"
                  "0x0070 0x00000005 1\n0x0071 0x%08X 1\n",
                  hex(11), hex(10), hex(9));
    EXPECT_TRUE(contains(writes, alarmWrites)) << writes;
    EXPECT_TRUE(contains(writes, "0x1804 0x00003C01 4\n")) << "the S5 write";

    const std::vector<json> events = power.events();
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0]["event"], "S5");
    EXPECT_EQ(events[0]["rtcAlarm"], m[9].str().insert(0, 2 - m[9].length(), '0') + ":" +
                                         m[10].str().insert(0, 2 - m[10].length(), '0') + ":" +
                                         m[11].str().insert(0, 2 - m[11].length(), '0'));
    EXPECT_EQ(events[0]["alarmArmed"], true);
    const json counters = power.counters()["disks"];
    for (const char* disk : {"0", "1", "2", "3"}) {
        EXPECT_EQ(counters[disk]["powerCycles"], 1) << disk;
        EXPECT_EQ(counters[disk]["unsafeShutdowns"], 1) << disk;
    }
}

TEST(SystemPowerEndToEnd, ColdBootWithoutTheDriverStillPrintsEveryLineAndWritesNothing) {
    PowerRun power(R"("portIoDriver": false, )");
    auto run = power.run("coldboot");
    EXPECT_EQ(run.exitCode, 0u) << run.output;
    EXPECT_TRUE(contains(run.output, "alarmtime1=")) << run.output;
    EXPECT_TRUE(contains(run.output, "Write CMOS 0x70/0x71 0xB/20, enable alarm interrupt"));
    EXPECT_TRUE(contains(run.output, "Write IO 0xA1 0, unmask RTC interrupt"));
    EXPECT_TRUE(contains(run.output, "Write IO 0x21 0, unmask master to slave"));
    EXPECT_TRUE(contains(run.output, "Write IO 1800 4000000, clear RTC_STS and set RTC_EN"));
    EXPECT_TRUE(contains(run.output, "Write IO 1804 4003C01, set PM1_CNT S5")) << "the value last held";
    EXPECT_TRUE(contains(run.output, "WARNING  The port-I/O driver is not loaded: nothing was written"))
        << "exit 0 is explained";
    EXPECT_FALSE(zeltest::fileExists(power.state("port-writes.log")));
    EXPECT_FALSE(zeltest::fileExists(power.state("power-events.log")));
}

// Reboot and shutdown wait ten seconds for the end that a virtual host
// never brings, then report that the host survived.
TEST(SystemPowerEndToEnd, RebootAndShutdownFailWhenTheHostSurvives) {
    PowerRun reboot, shutdown;
    const zeltest::ChildResult rebootRun = reboot.run("reboot");
    const zeltest::ChildResult shutdownRun = shutdown.run("shutdown");
    std::printf("[timing] reboot run %.2f s, shutdown run %.2f s\n", reboot.seconds, shutdown.seconds);
    EXPECT_EQ(rebootRun.exitCode, 0x20000012u) << rebootRun.output;
    EXPECT_TRUE(contains(rebootRun.output, "INFO     Rebooting system..."));
    EXPECT_TRUE(
        contains(rebootRun.output, "[ZelCli] Failed to execute action pwr... (LE=0x20000012, Failed to reboot system.)"));
    EXPECT_EQ(shutdownRun.exitCode, 0x20000017u) << shutdownRun.output;
    const auto rebootEvents = reboot.events(), shutdownEvents = shutdown.events();
    ASSERT_EQ(rebootEvents.size(), 1u);
    EXPECT_EQ(rebootEvents[0]["event"], "reboot");
    EXPECT_EQ(rebootEvents[0]["unsafeShutdowns"], json::array());
    ASSERT_EQ(shutdownEvents.size(), 1u);
    EXPECT_EQ(shutdownEvents[0]["event"], "shutdown");
    EXPECT_EQ(shutdownEvents[0]["command"], "shutdown -s -t 0");
    EXPECT_EQ(reboot.counters()["disks"]["1"]["powerCycles"], 1);
}

TEST(SystemPowerEndToEnd, SuspendAndD3hotReturnAndAreRecorded) {
    PowerRun power;
    auto s3 = power.run("s3", "--sleepdelay 5");
    EXPECT_EQ(s3.exitCode, 0u) << s3.output;
    EXPECT_TRUE(contains(s3.output, "INFO     Entering S3...\r\n")) << s3.output;
    EXPECT_TRUE(contains(s3.output, "INFO     Wake-up timer 5 seconds"));
    EXPECT_TRUE(contains(s3.output, "INFO     Resumed from S3 after"));
    EXPECT_EQ(power.run("s4").exitCode, 0u);
    auto d3 = power.run("d3hot", "--sleepdelay 0");
    EXPECT_EQ(d3.exitCode, 0u) << d3.output;
    const auto events = power.events();
    ASSERT_EQ(events.size(), 4u);
    EXPECT_EQ(events[0]["event"], "S3");
    EXPECT_EQ(events[0]["wakeTimerSeconds"], 5);
    EXPECT_EQ(events[1]["event"], "S4");
    EXPECT_EQ(events[1]["wakeTimerSeconds"], 60) << "--sleepdelay defaults to 60";
    EXPECT_EQ(events[1]["unsafeShutdowns"], json::array());
    EXPECT_EQ(events[2]["event"], "D3hot");
    EXPECT_EQ(events[2]["disk"], 1);
    EXPECT_EQ(events[3]["event"], "D0");
    EXPECT_EQ(power.counters()["disks"]["0"]["powerCycles"], 2);
}

// --sleepdelay in the tool's number syntax, whole: a value it cannot read
// is refused before anything happens, with one WARNING line.
TEST(SystemPowerEndToEnd, SleepDelayIsReadInTheNumberSyntax) {
    struct Case {
        const char* text;
        int seconds;  // -1: refused
    } cases[] = {{"3Ch", 60}, {"1k", 1024}, {"111b", 7}, {"0x5", 5}, {"1e2", -1}, {"1.5", -1}, {"5s", -1}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        PowerRun power;
        auto s3 = power.run("s3", std::string("--sleepdelay ") + c.text);
        if (c.seconds < 0) {
            EXPECT_EQ(s3.exitCode, 0x20000004u) << s3.output;
            size_t warnings = 0;
            for (size_t at = s3.output.find("WARNING"); at != std::string::npos; at = s3.output.find("WARNING", at + 1))
                ++warnings;
            EXPECT_EQ(warnings, 1u) << s3.output;
            EXPECT_TRUE(contains(s3.output, std::string("--sleepdelay is not a valid number: \"") + c.text + "\""))
                << s3.output;
            EXPECT_TRUE(zeltest::readFile(power.state("power-events.log")).empty()) << "no S3";
            continue;
        }
        ASSERT_EQ(s3.exitCode, 0u) << s3.output;
        const auto events = power.events();
        ASSERT_EQ(events.size(), 1u);
        EXPECT_EQ(events[0]["wakeTimerSeconds"], c.seconds);
    }
}
