#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <regex>

#include "tests/io/VhostFixture.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TempDir.h"

using zeltest::runZelCli;

namespace {

using zeltest::contains;

class EndToEnd : public testing::Test {
protected:
    // Runs ZelCli.exe with the log file "run.log" in the temp folder.
    zeltest::ChildResult runLogged(const std::string& args) {
        return runZelCli(args + " --logdir \"" + dir_.path() + "\" --logfile run.log", dir_.path());
    }
    std::string log() const { return zeltest::readFile(dir_.file("run.log")); }

    zeltest::TempDir dir_;
};

}  // namespace

// Help stays byte for byte as scripts know it, whatever options are added.
TEST_F(EndToEnd, HelpPrintsUsageAndSkipsLoggingSetUp) {
    auto run = runZelCli("--logdir \"" + dir_.path() + "\" --logfile run.log -a rw -h --version");
    EXPECT_EQ(run.exitCode, 0u);
    EXPECT_EQ(zeltest::withoutCr(run.output), zeltest::readFile(ZEL_HELP_TEXT));
    EXPECT_FALSE(zeltest::fileExists(dir_.file("run.log")));
}

// No action, an action without its options, a value that cannot be read or
// a file option naming a device: one warning, before any disk or file is touched.
TEST_F(EndToEnd, WrongArgumentsEndTheRunWithOneWarning) {
    // The arguments, the warning and what follows it.
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"-a PWR", "[ZelCli] No action found!", "Usage:"},
        {"", "[ZelCli] No action found!", "Usage:"},
        {"--action \"\"", "[ZelCli] No action found!", "Usage:"},
        {"-a rw", "Miss some options (diskid/diskmodel/disksn/diskpattern)!", "Failed to initialize action"},
        {"-a rw -d 0", "Miss some options (rw)!", "Failed to initialize action"},
        {"-a cmd", "Miss some options (diskid/diskmodel/disksn/diskpattern)!", "Failed to initialize action"},
        {"-a pwr --disksn X", "Miss some options (pwrctrl)!", "Failed to initialize action"},
        {"-a pwr --disksn X --pwrctrl on", "Miss some options (pwrid/pwrmodel)!", "Failed to initialize action"},
        {"-a wkld -d 1", "Miss some options (diskid / path)!", "Failed to initialize action"},
        {"-a wkld --path w.txt", "Miss some options (diskid / path)!", "Failed to initialize action"},
        {"-a smart --diskmodel M", "Miss some options (diskid/disksn/diskpattern)!", "Failed to initialize action"},
        {"--info --diskid abc", "[ZelCli] --diskid is not a valid number: \"abc\"", ""},
        {"--exist --diskid 3abc", "[ZelCli] --diskid is not a valid number: \"3abc\"", ""},
        {"--enablepci --vid 0x8086", "[ZelCli] --vid is not a valid number: \"0x8086\"", ""},
        {"-a rw -d 1 --rw read --start 12q", "[ZelCli] --start is not a valid number: \"12q\"", ""},
        {"--info --out-ini \\\\.\\PhysicalDrive1",
         "[ZelCli] --out-ini names a device, not a file: \"\\\\.\\PhysicalDrive1\"", ""},
        {"-a smart -d 1 --out-bin a.bin,\\\\.\\E:",
         "[ZelCli] --out-bin names a device, not a file: \"a.bin,\\\\.\\E:\"", ""},
    };
    for (const auto& [args, line, also] : cases) {
        auto run = runLogged(args);
        EXPECT_EQ(run.exitCode, 0x20000004u) << args;
        const size_t warning = run.output.find(std::string("WARNING  ") + line);
        EXPECT_NE(warning, std::string::npos) << args << "\n" << run.output;
        EXPECT_TRUE(contains(run.output.substr(std::min(warning, run.output.size())), also)) << args;
        EXPECT_FALSE(contains(run.output, "Disk Information")) << args;
    }
    const std::string text = log();  // of several runs
    std::regex line(R"((^|\n)\d{4}-\d\d-\d\d \d\d:\d\d:\d\d,\d{3} WARNING  \[ZelCli\] No action found!\r?\n)");
    EXPECT_TRUE(std::regex_search(text, line)) << text;
    EXPECT_TRUE(contains(text, "ERROR    [ZelCli] Failed to initialize action rw... (LE=0x20000004, Wrong argument "
                               "list for this application.)"));
    EXPECT_TRUE(contains(text, "--diskid is not a valid number")) << "the line reaches the log file";
    auto device = runZelCli("-a x --logfile \\\\.\\PhysicalDrive1", dir_.path());
    EXPECT_EQ(device.exitCode, 0x20000004u);
    EXPECT_TRUE(contains(device.output, "--logfile names a device, not a file")) << device.output;
}

// Appending across runs: WrongArgumentsEndTheRunWithOneWarning reads lines
// of several runs in one file.
TEST_F(EndToEnd, LogFilePlacement) {
    zeltest::TempDir other;
    auto run = runZelCli("-a x --logdir \"" + dir_.path() + "\\unused\" --logfile \"" + other.file("abs.log") + "\"");
    EXPECT_EQ(run.exitCode, 0x20000004u);
    EXPECT_TRUE(contains(zeltest::readFile(other.file("abs.log")), "No action found!"))
        << "an absolute path ignores the folder";
    EXPECT_FALSE(zeltest::fileExists(dir_.file("unused\\abs.log")));
    runZelCli("-a x --logdir \"" + dir_.path() + "\\quiet\"", dir_.path());
    const bool quietFolder = std::filesystem::exists(dir_.file("quiet"));
    EXPECT_TRUE(!quietFolder || std::filesystem::is_empty(dir_.file("quiet"))) << "a folder without a file name";
}

TEST_F(EndToEnd, GlobalCommandsAnswerBeforeActionsAndParserErrorsAreNotCaught) {
    EXPECT_EQ(runLogged("--monitor -a rw").exitCode, 1u) << "monitor without a disk";
    EXPECT_EQ(runLogged("--update-driver \"\"").exitCode, 0x20000004u) << "empty INF path";
    EXPECT_EQ(runLogged("--delete-driver \"\"").exitCode, 0x20000004u) << "empty keyword";
    // Errors of the parser and of the JSON library are not caught: abort's
    // exit code 3, with no dialog to wait for.
    std::ofstream(dir_.file("bad.json"), std::ios::binary) << R"({"drive_info_list": "not a list"})";
    for (const char* args : {"--no-such-option", "--exist --commfile bad.json"}) {
        auto run = runZelCli(args, dir_.path(), {}, 30000);
        EXPECT_EQ(run.exitCode, 3u) << args << "\n" << run.output;
        EXPECT_TRUE(contains(run.output, "terminate called")) << run.output;
    }
}

class PrintingCommands : public zeltest::VhostFixture {};

// --version and --usage only print; stray words stop the run before the
// disk or the log file is touched.
TEST_F(PrintingCommands, VersionUsageAndStrayWords) {
    useHost(zeltest::ioHost());
    // Standard output holds the version line alone; the host's banner goes to standard error.
    auto version = zeltest::runZelCliStreamsApart("--version", dir_->path(), {"ZELCLI_VHOST=" + dir_->file("host.json")});
    EXPECT_EQ(version.exitCode, 0u);
    const std::regex versionLine("ZelCli\\.exe " ZEL_VERSION_TEXT R"( \(revision ([0-9a-f]{7,}(-dirty)?|unknown)\)\r?\n)");
    EXPECT_TRUE(std::regex_match(version.output, versionLine)) << version.output;
    auto usage = runExpecting("--usage rw", 0u);
    for (const char* line : {R"(\n  --rw read/write/precondition/randwrite\s+Read/Write mode\r?\n)",
                             R"(\n  --bs number\s+Block size .*\(unit: bytes; default: 131072\)\r?\n)",
                             R"(\n  --qd number\s+Queue depth \(default: 1\)\r?\n)"})
        EXPECT_TRUE(std::regex_search(usage.output, std::regex(line))) << line << "\n" << usage.output;
    EXPECT_FALSE(contains(usage.output, "--pwrctrl")) << "rw does not read it";
    auto unknown = runExpecting("--usage rwx", 0x20000004u);
    EXPECT_TRUE(contains(unknown.output, "WARNING  [ZelCli] --usage takes an action name (pwr, rw, cmd, wkld, smart), "
                                         "not \"rwx\"")) << unknown.output;

    runExpecting("-a rw -d 1 --rw write --size 64", 0u);
    const std::string image = file("host.json.state/disk1.img"), counters = file("host.json.state/counters.json");
    auto stray = runExpecting("-a rw -d 1 --rw write 1g 64", 0x20000004u);
    EXPECT_TRUE(contains(stray.output, "WARNING  [ZelCli] Words that no option takes: \"1g\" \"64\"")) << stray.output;
    EXPECT_EQ(file("host.json.state/counters.json"), counters);
    EXPECT_TRUE(file("host.json.state/disk1.img") == image) << "the disk was written";
    EXPECT_FALSE(contains(file("run.log"), "Words that")) << "the log file is not touched either";
}
