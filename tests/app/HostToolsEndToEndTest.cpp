// The global commands that run external tools, through ZelCli.exe on the
// virtual host, with the stand-in tools acting on it or answering as told.
#include <gtest/gtest.h>

#include <fstream>

#include "tests/support/ChildProcess.h"
#include "tests/support/StandInControl.h"
#include "tests/support/TempDir.h"

namespace {

using zeltest::contains;

using Args = std::vector<std::string>;

// 0: the Windows disk (C); 1: NVMe of the maker's controller, letter E;
// 2: a spare SATA disk without volumes; 3: SATA on a PCI controller of its own.
std::string hostJson(bool withTools = true, bool portIoDriver = true) {
    return std::string("{") + (withTools ? R"("toolsFolder": ")" + zeltest::StandInControl::toolsFolder() + R"(", )" : "") +
           R"("portIoDriver": )" + (portIoDriver ? "true" : "false") + R"(,
  "driverPackages": [{"name": "oem3.inf", "provider": "Zeltron", "class": "Storage controllers", "signer": "S"},
                     {"name": "oem5.inf", "provider": "Other", "class": "Display", "signer": "S"},
                     {"name": "oem8.inf", "provider": "Zeltron", "class": "Storage controllers", "signer": "S"}],
  "disks": [
    {"number": 0, "busType": 11, "model": "OS SATA", "serial": "OS0", "sectorCount": 65536, "scsiAddress": {"port": 0},
     "volumes": [{"letter": "C", "totalBytes": 4096}]},
    {"number": 1, "busType": 17, "vendor": "NVMe", "model": "Zel NVMe", "serial": "NV1", "sectorCount": 65536,
     "driver": {"provider": "Microsoft"}, "scsiAddress": {"port": 1},
     "pci": {"vendorId": "0x1F2E", "deviceId": "0xA809", "bus": 4}, "volumes": [{"letter": "E", "totalBytes": 4096}]},
    {"number": 2, "busType": 11, "model": "Spare SATA", "serial": "SP2", "sectorCount": 65536, "scsiAddress": {"port": 2}}
  ]})";
}

class HostToolsEndToEnd : public testing::Test {
protected:
    HostToolsEndToEnd() { std::ofstream(dir_.file("host.json"), std::ios::binary) << hostJson(); }

    zeltest::ChildResult run(const std::string& args) {
        return zeltest::runZelCli(args + " --logdir \"" + dir_.path() + "\" --logfile run.log", dir_.path(),
                                  {"ZELCLI_VHOST=" + dir_.file("host.json"), control_.environment()});
    }
    std::string log() const { return zeltest::readFile(dir_.file("run.log")); }
    // A log line from its level tag to its end, or up to a trailing '*'.
    // Every line of the log file, a tool's output included, ends "\r\n";
    // both sides are compared with bare line feeds.
    bool logged(const std::string& levelAndText) const {
        const std::string raw = log();
        EXPECT_EQ(raw.find("\r\r\n"), std::string::npos) << "a doubled carriage return";
        const std::string text = zeltest::withoutCr(raw);
        const bool prefix = !levelAndText.empty() && levelAndText.back() == '*';
        const std::string wanted = zeltest::withoutCr(levelAndText.substr(0, levelAndText.size() - prefix));
        for (size_t at = text.find(wanted); at != std::string::npos; at = text.find(wanted, at + 1)) {
            const size_t end = at + wanted.size();
            if (prefix || (end < text.size() && text[end] == '\n')) return true;
        }
        return false;
    }
    // A run that must end with `code` and leave each of `lines` in the log.
    zeltest::ChildResult expectRun(const std::string& args, uint32_t code,
                                   std::initializer_list<std::string> lines = {}) {
        zeltest::ChildResult result = run(args);
        EXPECT_EQ(result.exitCode, code) << args << "\n" << result.output;
        for (const std::string& line : lines) EXPECT_TRUE(logged(line)) << args << ": " << line << "\n" << log();
        return result;
    }
    // The arguments of every tool started, in order.
    std::vector<Args> allArgs() const {
        std::vector<Args> all;
        for (size_t i = 0; i < control_.calls().size(); ++i) all.push_back(control_.args(i));
        return all;
    }
    std::vector<std::string> tools() const {
        std::vector<std::string> names;
        for (const auto& call : control_.calls()) names.push_back(call["tool"]);
        return names;
    }

    zeltest::TempDir dir_;
    zeltest::StandInControl control_;
};

TEST_F(HostToolsEndToEnd, RescanRunsDevconAndAnswersByItsResult) {
    expectRun("--rescan --debug", 0,
              {"INFO     rescan done, elapsed time: *", "DEBUG    Rescan result=1",
               "DEBUG    ProcUtil::runAsync()...\"*"});
    EXPECT_EQ(control_.args(0), Args{"rescan"});
    EXPECT_TRUE(contains(control_.calls()[0]["commandLine"], "vhost-tools\\devcon_amd64.exe\" rescan"));
    control_.answer({{"tool", "devcon_amd64.exe"}, {"exit", 2}, {"output", "devcon.exe failed.\r\n"}});
    expectRun("--rescan --debug", 0x2000000A, {"WARNING  rescan error code: 2", "DEBUG    Rescan result=0"});
}

TEST_F(HostToolsEndToEnd, DisableHidesTheControllersDisksUntilEnabledOrOnReboot) {
    expectRun("--disablepci --vid 7982 --did 43017 --debug", 0,
              {"INFO     disable device done, elapsed time: *", "DEBUG    Disable PCI device result=1"});
    EXPECT_EQ(control_.args(0), (Args{"disable", "PCI\\VEN_1F2E&DEV_A809"}));
    EXPECT_EQ(run("--exist -d 1").exitCode, 0xC0380011u) << "disk 1 is gone with its controller";
    EXPECT_EQ(run("--exist -d 2").exitCode, 0u);
    expectRun("--enablepci --vid 7982 --did 43017 --debug", 0, {"DEBUG    Enable PCI device result=1"});
    EXPECT_EQ(run("--exist -d 1").exitCode, 0u);
    expectRun("--enablepci --vid 1 --did 2", 0x2000000B,
              {"WARNING  enable device error code: 2\nNo matching devices found.\r\n"});
    EXPECT_EQ(control_.args(control_.calls().size() - 1), (Args{"enable", "PCI\\VEN_0001&DEV_0002"}));

    // "On reboot" counts as done even with a failing code.
    control_.answer({{"verb", "disable"}, {"exit", 1}, {"output", "PCI\\VEN_1F2E: Disabled on reboot\r\n"}});
    expectRun("--disablepci --vid 7982 --did 43017", 0,
              {"INFO     disable device done, skip on reboot message, elapsed time: *"});
    // Exit code 0 wins over the text; any other code without it fails,
    // and the whole output follows the code, however long.
    control_.answer({{"verb", "enable"}, {"exit", 3}, {"output", "head\r\n"}, {"outputBytes", 9000}});
    expectRun("--enablepci --vid 7982 --did 43017", 0x2000000B,
              {"WARNING  enable device error code: 3\nhead\r\n" + zeltest::standInFiller(9000)});
    EXPECT_EQ(run("--disablepci --vid 1 --did 1").exitCode, 0u) << "the rule answers for any disable";
}

TEST_F(HostToolsEndToEnd, FormatAssignsALetterThenRunsTheActionUnlessItFails) {
    const auto format = expectRun("--formatd -d 2 -a rw --rw write --size 64", 0,
                                  {"INFO     format disk done, elapsed time: *", "INFO     Format disk... done"});
    ASSERT_EQ(tools(), Args{"diskpart.exe"});
    EXPECT_EQ(control_.args(0), (Args{"/s", "diskpart_format.txt"}));
    EXPECT_EQ(control_.calls()[0]["script"],
              "select disk 2\r\nclean\r\ncreate partition primary\r\nformat fs=ntfs quick\r\nassign letter=D\r\n"
              "exit\r\n");
    EXPECT_FALSE(zeltest::fileExists(dir_.file("diskpart_format.txt")));
    ASSERT_TRUE(contains(format.output, "[100%]")) << "the rw action ran";
    EXPECT_LT(format.output.find("Format disk... done"), format.output.find("[100%]"));
    EXPECT_TRUE(contains(run("--info -d 2").output, "Drive letter: D"));
    expectRun("--formatd -d 1", 0);
    EXPECT_TRUE(contains(control_.calls().back()["script"], "assign letter=E\r\n")) << "a disk with a letter keeps it";

    // A failed format ends the run before the action.
    control_.answer({{"tool", "diskpart.exe"}, {"exit", 4}});
    const auto failed = expectRun("--formatd -d 2 -a rw --rw write --size 64", 0x20000010,
                                  {"WARNING  format disk error code: 0x4", "INFO     Format disk... failed"});
    EXPECT_FALSE(contains(failed.output, "%]")) << "no action";
    expectRun("--formatd -d 9", 0x20000007);
    EXPECT_EQ(control_.calls().size(), 3u);
}

TEST_F(HostToolsEndToEnd, CleanRemovesTheVolumesAndCanGoOnToTheAction) {
    expectRun("--cleand -d 1", 0, {"INFO     clean disk done, elapsed time: *", "INFO     Clean disk... done"});
    EXPECT_EQ(control_.calls()[0]["script"], "select disk 1\r\nclean\r\nexit\r\n");
    EXPECT_FALSE(zeltest::fileExists(dir_.file("diskpart_clean.txt")));
    EXPECT_FALSE(contains(run("--info -d 1").output, "Drive letter")) << "its letter E is gone";
    EXPECT_TRUE(contains(run("--cleand -d 2 -a wkld").output, "Miss some options (diskid / path)!")) << "action ran";
    control_.answer({{"tool", "diskpart.exe"}, {"exit", 5}});
    expectRun("--cleand -d 2 -a wkld", 0x20000011,
              {"WARNING  clean disk error code: 5", "INFO     Clean disk... failed"});  // decimal for clean
}

TEST_F(HostToolsEndToEnd, SuspendAndResumePassTheNameAsOneArgument) {
    // The value and how ZelCli's own command line carries it.
    const std::pair<std::string, std::string> hostile[] = {
        {"a\" & calc & \"", "\"a\\\" & calc & \\\"\""},
        {"x\\\" /r", "\"x\\\\\\\" /r\""},
        {"C:\\trailing\\", "\"C:\\trailing\\\\\""},
        {"plain.exe", "plain.exe"},
    };
    for (const auto& [name, onCommandLine] : hostile) {
        const size_t before = control_.calls().size();
        control_.answer({{"tool", "pssuspend64.exe"}, {"verb", name}, {"exit", 0}});  // no such process runs
        expectRun("--suspend-proc " + onCommandLine, 0,
                  {"INFO     suspend process " + name + " done, elapsed time: *"});
        ASSERT_EQ(control_.calls().size(), before + 1) << name;
        EXPECT_EQ(control_.args(before), (Args{"-accepteula", name}));
    }
    // ZelCli.exe itself runs while it waits for the stand-in.
    expectRun("--resume-proc ZelCli.exe", 0, {"INFO     resume process ZelCli.exe done, elapsed time: *"});
    EXPECT_EQ(control_.args(control_.calls().size() - 1), (Args{"-accepteula", "-r", "ZelCli.exe"}));
    // No process of that name; then a name that reads as a switch.
    expectRun("--suspend-proc ghost.exe", 0x2000001B, {"WARNING  suspend process error code: -1"});
    const size_t calls = control_.calls().size();
    expectRun("--resume-proc=-r", 0x2000001C, {"WARNING  resume process error code: 536870916"});
    EXPECT_EQ(control_.calls().size(), calls);

    control_.answer({{"tool", "pssuspend64.exe"}, {"exit", -1}});
    expectRun("--suspend-proc app.exe", 0x2000001B, {"WARNING  suspend process error code: -1"});
    expectRun("--resume-proc app.exe", 0x2000001C, {"WARNING  resume process error code: -1"});
}

TEST_F(HostToolsEndToEnd, UpdateDriverOutsideTheInfFolderAnswersInverted) {
    // A successful update answers the failure code, and a failed one 0.
    const auto updated = expectRun(
        "--update-driver \"D:\\pkg\\zel nvme.inf\" -d 1", 0x2000001E,
        {"devcon_amd64.exe update \"PCI\\VEN_1F2E&DEV_A809\" \"D:\\pkg\\zel nvme.inf\"*", "INFO     Execute... *",
         "INFO     Updating drivers for PCI\\VEN_1F2E&DEV_A809 from D:\\pkg\\zel nvme.inf.\r\n"
         "Drivers installed successfully.\r\n"});
    EXPECT_EQ(allArgs(), (std::vector<Args>{{"update", "PCI\\VEN_1F2E&DEV_A809", "D:\\pkg\\zel nvme.inf"}}));
    EXPECT_TRUE(contains(updated.output, "4. rc=0\r\n"));
    EXPECT_FALSE(contains(updated.output, "1. rc="));
    control_.answer({{"verb", "update"}, {"exit", 2}});
    EXPECT_TRUE(contains(expectRun("--update-driver \"C:\\drivers\\\\\" -d 1", 0).output, "4. rc=2\r\n"));
    EXPECT_EQ(control_.args(1), (Args{"update", "PCI\\VEN_1F2E&DEV_A809", "C:\\drivers\\"}));
}

TEST_F(HostToolsEndToEnd, UpdateDriverFromTheInfFolderRestartsTheDevice) {
    const std::string out = expectRun("--update-driver c:\\windows\\inf\\oem3.inf -d 1", 0x2000001E).output;
    EXPECT_EQ(tools(), (Args(4, "devcon_amd64.exe")));
    const std::vector<Args> all = allArgs();
    EXPECT_EQ(std::vector<Args>(all.begin() + 1, all.end()),
              (std::vector<Args>{{"rescan"}, {"disable", "PCI\\VEN_1F2E&DEV_A809"}, {"enable", "PCI\\VEN_1F2E&DEV_A809"}}));
    for (const char* line : {"1. rc=0\r\n", "2. rc=0\r\n", "3. rc=0\r\n", "4. rc=0\r\n"})
        EXPECT_TRUE(contains(out, line)) << line;
    EXPECT_LT(out.find("3. rc="), out.find("4. rc="));

    // A reboot request (1) still counts as done; a failed disable stops.
    control_.answer({{"verb", "rescan"}, {"exit", 1}});
    control_.answer({{"verb", "disable"}, {"exit", 2}});
    const std::string stopped = expectRun("--update-driver c:\\windows\\inf\\oem3.inf -d 1", 0x2000001E).output;
    EXPECT_TRUE(contains(stopped, "2. rc=1\r\n") && contains(stopped, "3. rc=2\r\n") && !contains(stopped, "4. rc="))
        << stopped;
    EXPECT_EQ(control_.calls().size(), 7u) << "no enable";
    // The folder test is case-sensitive.
    run("--update-driver C:\\Windows\\INF\\oem3.inf -d 1");
    EXPECT_EQ(control_.calls().size(), 8u);
}

TEST_F(HostToolsEndToEnd, DriverCommandsNeedAnNvmeDiskWithItsPciSideAndToolsTheirFolder) {
    EXPECT_EQ(run("--update-driver x.inf -d 9").exitCode, 0x20000007u);
    EXPECT_EQ(run("--update-driver x.inf -d 2").exitCode, 0x20000003u);
    EXPECT_EQ(run("--delete-driver Zeltron -d 9").exitCode, 0x20000007u);
    EXPECT_EQ(run("--delete-driver Zeltron -d 2").exitCode, 0x20000003u);
    std::ofstream(dir_.file("host.json"), std::ios::binary | std::ios::trunc) << hostJson(true, false);
    EXPECT_EQ(run("--delete-driver Zeltron -d 1").exitCode, 0x20000001u) << "the last error: no port-I/O driver";
    EXPECT_EQ(run("--update-driver x.inf -d 1").exitCode, 0x20000003u);
    // A host without the tools cannot start them.
    std::ofstream(dir_.file("host.json"), std::ios::binary | std::ios::trunc) << hostJson(false);
    expectRun("--rescan", 0x2000000A, {"WARNING  Failed to run rescan, error: (LE=0x2, *"});
    expectRun("--enablepci --vid 1 --did 2", 0x2000000B, {"WARNING  Failed to enable device, error: (LE=0x2, *"});
    expectRun("--suspend-proc app.exe", 0x2000001B, {"WARNING  suspend process error code: 2"});
    expectRun("--cleand -d 2", 0x20000011, {"WARNING  clean disk error code: 2"});
    EXPECT_TRUE(control_.calls().empty());
}

TEST_F(HostToolsEndToEnd, DeleteDriverRemovesTheKeywordsPackagesAndTheDevice) {
    expectRun("--delete-driver \"Provider: Zeltron\" -d 1", 0,
              {"INFO     Going to delete driver oem3.inf", "INFO     Execute... pnputil /delete-driver oem8.inf /force",
               "devcon_amd64.exe remove /r \"PCI\\VEN_1F2E&DEV_A809\"*"});
    EXPECT_EQ(tools(), (Args{"devcon_amd64.exe", "pnputil.exe", "pnputil.exe", "devcon_amd64.exe",
                             "devcon_amd64.exe"}));
    EXPECT_EQ(allArgs(), (std::vector<Args>{{"dp_enum"}, {"/delete-driver", "oem3.inf", "/force"},
                                             {"/delete-driver", "oem8.inf", "/force"},
                                             {"remove", "/r", "PCI\\VEN_1F2E&DEV_A809"}, {"rescan"}}));
    const std::string system = zeltest::readFile(dir_.file("host.json.state/system.json"));
    EXPECT_TRUE(contains(system, "\"OEM3.INF\"") && contains(system, "\"OEM8.INF\"")) << system;
    EXPECT_EQ(run("--exist -d 1").exitCode, 0u) << "back after the rescan";
    // Deleted packages are no longer listed: only the device goes.
    expectRun("--delete-driver \"Provider: Zeltron\" -d 1", 0);
    EXPECT_EQ(control_.calls().size(), 8u);
}

TEST_F(HostToolsEndToEnd, DeleteDriverFailures) {
    control_.answer({{"tool", "pnputil.exe"}, {"exit", 5}});
    expectRun("--delete-driver Zeltron -d 1", 0x2000001F);
    EXPECT_EQ(tools(), (Args{"devcon_amd64.exe", "pnputil.exe"})) << "stops at the first failure";
    control_.answer({{"verb", "remove"}, {"exit", 2}});
    expectRun("--delete-driver NoSuchKeyword -d 1", 0x2000001E);
    EXPECT_EQ(control_.calls().size(), 4u) << "dp_enum, remove; no rescan";
}

TEST_F(HostToolsEndToEnd, DeleteDriverFailsWhenTheRescanAsksForMore) {
    control_.answer({{"verb", "rescan"}, {"exit", 1}});
    expectRun("--delete-driver NoSuchKeyword -d 1", 0x2000001F);  // a rescan above 0 fails
    EXPECT_EQ(allArgs(), (std::vector<Args>{{"dp_enum"}, {"remove", "/r", "PCI\\VEN_1F2E&DEV_A809"}, {"rescan"}}));
}

}  // namespace
