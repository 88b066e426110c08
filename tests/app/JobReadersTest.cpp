#include <gtest/gtest.h>

#include "app/CommandLineChecks.h"
#include "app/JobReaders.h"
#include "core/Paths.h"

namespace {

zel::ParseResult args(std::vector<std::pair<std::string, std::string>> values) {
    return zel::ParseResult(std::move(values));
}

}  // namespace

TEST(JobReaders, RwDefaultsAndValues) {
    zel::RwJob defaults;
    EXPECT_FALSE(zel::readRwJob(args({{"diskid", "2"}, {"rw", "write"}}), 1234, &defaults));
    EXPECT_EQ(defaults.disk.id, 2);
    EXPECT_EQ(defaults.mode, zel::RwMode::SeqWrite);
    EXPECT_EQ(defaults.ioType, zel::IoType::Lba);
    EXPECT_EQ(defaults.pattern, zel::PatternKind::Fixed);
    EXPECT_EQ(defaults.blockBytes, 131072u);
    EXPECT_EQ(defaults.queueDepth, 1u);
    EXPECT_EQ(defaults.seed, 1234u) << "the clock seeds a run without --seed";
    EXPECT_EQ(defaults.size.unit, zel::Coverage::Unit::Percent);
    EXPECT_EQ(defaults.size.value, 100u);

    // Serial, mode, block size, seed, queue depth and I/O type reach a run
    // in RwEndToEnd; these values do not.
    zel::RwJob job;
    EXPECT_FALSE(zel::readRwJob(args({{"rw", "read"}, {"start", "0x10"}, {"totaltime", "2.5"}}), 0, &job));
    EXPECT_EQ(job.startLba, 16u);
    EXPECT_EQ(job.totalSeconds, 2.5);
}

TEST(JobReaders, SizeIsPercentSectorsOrBytesByItsLastCharacter) {
    struct Case {
        const char* text;
        zel::Coverage::Unit unit;
        uint64_t value;
    } cases[] = {{"50%", zel::Coverage::Unit::Percent, 50}, {"0%", zel::Coverage::Unit::Percent, 0},
                 {"2048", zel::Coverage::Unit::Sectors, 2048}, {"0x10", zel::Coverage::Unit::Sectors, 16},
                 {"1m", zel::Coverage::Unit::Bytes, 1 << 20}, {"10h", zel::Coverage::Unit::Bytes, 16}};
    for (const Case& c : cases) {
        zel::RwJob job;
        EXPECT_FALSE(zel::readRwJob(args({{"rw", "read"}, {"size", c.text}}), 0, &job)) << c.text;
        EXPECT_EQ(job.size.unit, c.unit) << c.text;
        EXPECT_EQ(job.size.value, c.value) << c.text;
    }
}

TEST(JobReaders, FirstUnreadableValueIsReported) {
    struct Case {
        std::vector<std::pair<std::string, std::string>> values;
        const char* option;
    } cases[] = {
        {{{"diskid", "3abc"}, {"rw", "read"}}, "diskid"},
        {{{"diskid", "1"}, {"rw", "read"}, {"start", "12q"}, {"bs", "x"}}, "start"},
        {{{"diskid", "1"}, {"rw", "read"}, {"size", "abc%"}}, "size"},
        {{{"diskid", "1"}, {"rw", "read"}, {"bs", "4g"}}, "bs"},
        {{{"diskid", "1"}, {"rw", "read"}, {"totaltime", "-1"}}, "totaltime"},
    };
    for (const Case& c : cases) {
        zel::RwJob job;
        auto problem = zel::readRwJob(args(c.values), 0, &job);
        ASSERT_TRUE(problem) << c.option;
        EXPECT_EQ(problem->option, c.option);
    }
    zel::CmdJob cmd;
    auto wide = zel::readCmdJob(args({{"diskid", "1"}, {"command", "0x1EC"}}), &cmd);
    ASSERT_TRUE(wide) << "a value wider than its register";
    EXPECT_EQ(zel::describe(*wide), "[ZelCli] --command is not a valid number: \"0x1EC\"");
    EXPECT_TRUE(zel::readCmdJob(args({{"cdw12", "0x100000000"}}), &cmd));
    zel::SmartJob smart;
    EXPECT_TRUE(zel::readSmartJob(args({{"lid", "2,x"}}), &smart));
    zel::PowerJob power;
    EXPECT_TRUE(zel::readPowerJob(args({{"pwrid", "0x3"}}), &power));
}

// Log ids, the configuration name and the power options are checked
// through ZelCli.exe (SmartEndToEnd, PowerEndToEnd).
TEST(JobReaders, SmartFileListsAndTheirDefault) {
    zel::SmartJob smart;
    EXPECT_FALSE(zel::readSmartJob(args({{"diskid", "1"}, {"prev-smart-bin", "a.bin,b.bin"}}), &smart));
    EXPECT_EQ(smart.previousBins, (std::vector<std::string>{"a.bin", "b.bin"}));
    EXPECT_EQ(smart.outBins, (std::vector<std::string>{"zelcli_output.bin"}));
}

TEST(CommandLineChecks, DevicePathsAndEntryNumbersAreRefused) {
    for (const char* path : {"\\\\.\\PhysicalDrive1", "\\\\.\\E:", "//./PhysicalDrive0", "\\\\?\\PhysicalDrive2",
                             "\\??\\Harddisk0Partition1", "\\\\?\\GLOBALROOT\\Device\\Harddisk0"})
        EXPECT_TRUE(zel::namesDevice(path)) << path;
    for (const char* path : {"run.log", "C:\\logs\\run.log", "\\\\?\\C:\\logs\\run.log", "\\\\?\\UNC\\srv\\s\\a",
                             "\\\\server\\share\\a.ini", "PhysicalDrive1"})
        EXPECT_FALSE(zel::namesDevice(path)) << path;

    using Kind = zel::OptionProblem::Kind;
    const std::string longName(300, 'n');
    const std::string roomless(250, 'd');  // a log folder that leaves a default name no room
    struct Case {
        std::vector<std::pair<std::string, std::string>> values;
        const char* option;  // nullptr: accepted
        Kind kind;
    } cases[] = {
        {{{"diskid", ""}}, "diskid", Kind::NotANumber},
        {{{"diskid", "0x1F"}}, "diskid", Kind::NotANumber},
        {{{"vid", "8086h"}}, "vid", Kind::NotANumber},
        {{{"diskid", "3"}, {"did", "65535"}, {"vid", "0"}}, nullptr, Kind::NotANumber},
        {{{"vid", "70000"}}, "vid", Kind::OutOfRange},
        {{{"vid", "1"}, {"did", "-2"}}, "did", Kind::OutOfRange},
        {{{"did", "65536"}, {"diskid", "x"}}, "diskid", Kind::NotANumber},
        {{{"logfile", "\\\\.\\PhysicalDrive1"}, {"diskid", "x"}}, "logfile", Kind::NamesDevice},
        {{{"action", "\\\\.\\PhysicalDrive1"}}, nullptr, Kind::NotANumber},
        {{{"out-bin", "a.bin," + longName}}, "out-bin", Kind::PathTooLong},
        {{{"commfile", longName}, {"vid", "1"}}, "commfile", Kind::PathTooLong},
        {{{"logdir", roomless}, {"out-ini", "r.ini"}}, "out-ini", Kind::PathTooLong},
        {{{"logdir", roomless}, {"action", "cmd"}}, "out-ini", Kind::PathTooLong},
        {{{"logdir", roomless}, {"action", "rw"}}, "logdir", Kind::PathTooLong},
        {{{"logdir", roomless}, {"action", "wkld"}}, nullptr, Kind::NotANumber},  // its JSON is not in the folder
        {{{"logdir", roomless}, {"exist", ""}}, nullptr, Kind::NotANumber},
        {{{"commfile", "c.json"}, {"info", ""}, {"init", ""}}, nullptr, Kind::NotANumber},
    };
    for (const Case& c : cases) {
        auto problem = zel::findCommandLineProblem(args(c.values));
        if (!c.option) {
            EXPECT_FALSE(problem) << problem->option;
            continue;
        }
        ASSERT_TRUE(problem) << c.option;
        EXPECT_EQ(problem->option, c.option);
        EXPECT_EQ(problem->kind, c.kind) << c.option;
        if (c.kind == Kind::PathTooLong) {
            EXPECT_GT(problem->length, 254u) << zel::describe(*problem);
        }
    }
}
