#include <gtest/gtest.h>

#include "app/CommandLineChecks.h"
#include "app/JobReaders.h"
#include "app/OptionTable.h"
#include "core/Paths.h"

namespace {

using Values = std::vector<std::pair<std::string, std::string>>;
zel::ParseResult args(Values values) { return zel::ParseResult(std::move(values)); }

template <typename Job, typename Read>
Job read(Read reader, const Values& values) {
    Job job;
    EXPECT_FALSE(reader(args(values), &job));
    return job;
}

zel::RwJob rw(const Values& v) { return read<zel::RwJob>([](const auto& a, auto* j) { return zel::readRwJob(a, 0, j); }, v); }
zel::CmdJob cmd(const Values& v) { return read<zel::CmdJob>(zel::readCmdJob, v); }
zel::SmartJob smart(const Values& v) { return read<zel::SmartJob>(zel::readSmartJob, v); }
zel::PowerJob power(const Values& v) { return read<zel::PowerJob>(zel::readPowerJob, v); }
zel::WorkloadJob workload(const Values& v) { return read<zel::WorkloadJob>(zel::readWorkloadJob, v); }

}  // namespace

// A reader applies the table's default: leaving an option out reads as
// giving the table's default text.
TEST(JobReaders, DefaultsComeFromTheTable) {
    const std::pair<const char*, std::string (*)(const Values&)> cases[] = {
        {"bs", [](const Values& v) { return std::to_string(rw(v).blockBytes); }},
        {"qd", [](const Values& v) { return std::to_string(rw(v).queueDepth); }},
        {"iotype", [](const Values& v) { return std::to_string(int(rw(v).ioType)); }},
        {"pattern", [](const Values& v) { return std::to_string(int(rw(v).pattern)); }},
        {"size", [](const Values& v) { return std::to_string(int(rw(v).size.unit)) + "/" + std::to_string(rw(v).size.value); }},
        {"diskid", [](const Values& v) { return std::to_string(cmd(v).disk.id); }},
        {"out-bin", [](const Values& v) { return cmd(v).outBin + smart(v).outBins.at(0); }},
        {"out-ini", [](const Values& v) { return cmd(v).outIni + smart(v).outIni + power(v).outIni; }},
        {"commfile", [](const Values& v) { return smart(v).resultJson + workload(v).commfile; }},
        {"smart-config", [](const Values& v) { return smart(v).configPath; }},
        {"pwrid", [](const Values& v) { return std::to_string(power(v).switchId); }},
        {"pwroffto", [](const Values& v) { return std::to_string(power(v).offTimeoutSeconds); }},
        {"pwronto", [](const Values& v) { return std::to_string(power(v).onTimeoutSeconds); }},
        {"sleepdelay", [](const Values& v) { return std::to_string(power(v).sleepDelaySeconds); }},
    };
    for (const auto& [option, field] : cases) {
        const zel::OptionRow* row = zel::findOption(option);
        ASSERT_TRUE(row && !row->defaultValue.empty()) << option;
        EXPECT_EQ(field({}), field({{option, row->defaultValue}})) << option;
    }
    EXPECT_EQ(rw({{"seed", "7"}}).seed, 7u);
    EXPECT_EQ(rw({}).seed, 0u) << "the clock seeds a run without --seed";
    EXPECT_EQ(rw({{"out-ini", "r.ini"}}).outIni + rw({}).outIni, "r.ini") << "rw writes no INI unless asked";
    EXPECT_EQ(workload({{"commfile", ""}}).commfile, workload({}).commfile);
    EXPECT_EQ(smart({{"prev-smart-bin", "a.bin,,b.bin"}}).previousBins, (std::vector<std::string>{"a.bin", "b.bin"}));
}

TEST(JobReaders, SizeIsPercentSectorsOrBytesByItsLastCharacter) {
    const std::tuple<const char*, zel::Coverage::Unit, uint64_t> cases[] =
        {{"50%", zel::Coverage::Unit::Percent, 50},    {"0%", zel::Coverage::Unit::Percent, 0},
         {"2048", zel::Coverage::Unit::Sectors, 2048}, {"0x10", zel::Coverage::Unit::Sectors, 16},
         {"1m", zel::Coverage::Unit::Bytes, 1 << 20},  {"10h", zel::Coverage::Unit::Bytes, 16}};
    for (const auto& [text, unit, value] : cases) {
        const zel::Coverage size = rw({{"size", text}}).size;
        EXPECT_EQ(std::make_pair(size.unit, size.value), std::make_pair(unit, value)) << text;
    }
}

// Strict syntax: the first value a reader cannot read whole is the problem.
TEST(JobReaders, FirstUnreadableValueIsReported) {
    using Reader = std::optional<zel::OptionProblem> (*)(const Values&);
    const Reader rwReader = [](const Values& v) { zel::RwJob j; return zel::readRwJob(args(v), 0, &j); };
    const Reader cmdReader = [](const Values& v) { zel::CmdJob j; return zel::readCmdJob(args(v), &j); };
    const Reader smartReader = [](const Values& v) { zel::SmartJob j; return zel::readSmartJob(args(v), &j); };
    const Reader powerReader = [](const Values& v) { zel::PowerJob j; return zel::readPowerJob(args(v), &j); };
    const std::tuple<Reader, Values, const char*> cases[] = {
        {rwReader, {{"diskid", "3abc"}, {"rw", "read"}}, "diskid"},
        {rwReader, {{"start", "12q"}, {"bs", "x"}}, "start"},
        {rwReader, {{"size", "abc%"}}, "size"},
        {rwReader, {{"bs", "4g"}}, "bs"},
        {rwReader, {{"totaltime", "-1"}}, "totaltime"},
        {cmdReader, {{"diskid", "1"}, {"command", "0x1EC"}}, "command"},  // wider than its register
        {cmdReader, {{"cdw12", "0x100000000"}}, "cdw12"},
        {smartReader, {{"lid", "2,x"}}, "lid"},
        {powerReader, {{"pwrid", "0x3"}}, "pwrid"},
        {powerReader, {{"pwronto", "abc"}}, "pwronto"},
    };
    for (const auto& [reader, values, option] : cases) {
        auto problem = reader(values);
        ASSERT_TRUE(problem) << option;
        EXPECT_EQ(problem->option, option);
    }
    EXPECT_EQ(zel::describe(*cmdReader({{"command", "0x1EC"}})), "[ZelCli] --command is not a valid number: \"0x1EC\"");
}

// Through ZelCli.exe: EndToEnd.WrongArgumentsEndTheRunWithOneWarning and
// ResultFiles.TooLongPathsAndWideIdsAreRefusedFirst; here the precedence.
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
    // The values, the option refused (nullptr: none) and why.
    const std::tuple<Values, const char*, Kind> cases[] = {
        {{{"diskid", ""}}, "diskid", Kind::NotANumber},
        {{{"diskid", "3"}, {"did", "65535"}, {"vid", "0"}}, nullptr, Kind::NotANumber},
        {{{"did", "65536"}, {"diskid", "x"}}, "diskid", Kind::NotANumber},
        {{{"vid", "x"}, {"diskid", "y"}}, "diskid", Kind::NotANumber},
        {{{"vid", "70000"}, {"did", "x"}}, "vid", Kind::OutOfRange},
        {{{"logfile", "\\\\.\\PhysicalDrive1"}, {"diskid", "x"}}, "logfile", Kind::NamesDevice},
        {{{"prev-smart-bin", "a.bin,\\\\.\\E:"}}, "prev-smart-bin", Kind::NamesDevice},
        {{{"out-csv", longName}, {"commfile", longName}}, "out-csv", Kind::PathTooLong},
        {{{"action", "\\\\.\\PhysicalDrive1"}}, nullptr, Kind::NotANumber},
        {{{"out-bin", "a.bin," + longName}}, "out-bin", Kind::PathTooLong},
        {{{"logdir", roomless}, {"out-ini", "r.ini"}}, "out-ini", Kind::PathTooLong},
        {{{"logdir", roomless}, {"action", "rw"}}, "logdir", Kind::PathTooLong},
        {{{"logdir", roomless}, {"action", "wkld"}}, nullptr, Kind::NotANumber},  // its JSON is not in the folder
        {{{"logdir", roomless}, {"exist", ""}}, nullptr, Kind::NotANumber},
        {{{"commfile", "c.json"}, {"info", ""}, {"init", ""}}, nullptr, Kind::NotANumber},
    };
    for (const auto& [values, option, kind] : cases) {
        auto problem = zel::findCommandLineProblem(args(values));
        ASSERT_EQ(problem.has_value(), option != nullptr) << (problem ? problem->option : std::string(option));
        if (!problem) continue;
        EXPECT_EQ(problem->option, option);
        EXPECT_EQ(problem->kind, kind) << option;
        if (kind == Kind::PathTooLong) {
            EXPECT_GT(problem->length, 254u) << zel::describe(*problem);
        }
    }
}
