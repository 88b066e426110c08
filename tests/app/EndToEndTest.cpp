#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <regex>

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

TEST_F(EndToEnd, HelpPrintsUsageAndSkipsLoggingSetUp) {
    auto run = runZelCli("--logdir \"" + dir_.path() + "\" --logfile run.log -a rw -h");
    EXPECT_EQ(run.exitCode, 0u);
    EXPECT_TRUE(contains(run.output, "Usage:\r\n  ZelCli.exe [OPTION...]")) << run.output.substr(0, 200);
    EXPECT_TRUE(contains(run.output, "--analyze"));
    EXPECT_FALSE(zeltest::fileExists(dir_.file("run.log")));
}

// No action, an action without its options, a value that cannot be read or
// a file option naming a device: one warning, before any disk or file is touched.
TEST_F(EndToEnd, WrongArgumentsEndTheRunWithOneWarning) {
    struct Case {
        const char* args;
        const char* line;
        const char* also;  // what follows the warning
    } cases[] = {
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
    for (const Case& c : cases) {
        auto run = runLogged(c.args);
        EXPECT_EQ(run.exitCode, 0x20000004u) << c.args;
        const size_t warning = run.output.find(std::string("WARNING  ") + c.line);
        EXPECT_NE(warning, std::string::npos) << c.args << "\n" << run.output;
        EXPECT_TRUE(contains(run.output.substr(std::min(warning, run.output.size())), c.also)) << c.args;
        EXPECT_FALSE(contains(run.output, "Disk Information")) << c.args;
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
