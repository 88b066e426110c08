// The global commands that run external tools, through ZelCli.exe on the
// virtual host, with the stand-in tools acting on it or answering as told.
#include <gtest/gtest.h>

#include <fstream>

#include "tests/support/ChildProcess.h"
#include "tests/support/StandInControl.h"
#include "tests/support/TempDir.h"

namespace {

using zeltest::contains;

using nlohmann::json;
using zeltest::StandInControl;
using Args = std::vector<std::string>;

// 0: the Windows disk (C); 1: NVMe of the maker's controller, letter E;
// 2: a spare SATA disk without volumes; 3: SATA on a PCI controller of its own.
std::string hostJson(bool withTools = true, bool portIoDriver = true) {
    return std::string("{") + (withTools ? R"("toolsFolder": ")" + StandInControl::toolsFolder() + R"(", )" : "") +
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
    // Every line of the log file, a tool's output included, ends "\r\n";
    // both sides are compared with bare line feeds.
    static std::string lineFeeds(std::string text) {
        for (size_t at; (at = text.find("\r\n")) != std::string::npos;) text.erase(at, 1);
        return text;
    }
    // A whole log line: level tag, text, end of line.
    bool logged(const std::string& levelAndText) const {
        const std::string raw = log();
        EXPECT_EQ(raw.find("\r\r\n"), std::string::npos) << "a doubled carriage return";
        const std::string text = lineFeeds(raw);
        const std::string wanted = lineFeeds(levelAndText);
        for (size_t at = text.find(wanted); at != std::string::npos; at = text.find(wanted, at + 1)) {
            const size_t end = at + wanted.size();
            if (end < text.size() && text[end] == '\n') return true;
        }
        return false;
    }
    std::string systemState() const { return zeltest::readFile(dir_.file("host.json.state/system.json")); }
    // The arguments of every tool started, in order.
    std::vector<Args> allArgs() const {
        std::vector<Args> all;
        for (size_t i = 0; i < control_.calls().size(); ++i) all.push_back(control_.args(i));
        return all;
    }
    std::vector<std::string> tools() const {
        std::vector<std::string> names;
        for (const json& call : control_.calls()) names.push_back(call["tool"]);
        return names;
    }

    zeltest::TempDir dir_;
    StandInControl control_;
};

TEST_F(HostToolsEndToEnd, RescanRunsDevconAndAnswersByItsResult) {
    auto ok = run("--rescan --debug");
    EXPECT_EQ(ok.exitCode, 0u) << ok.output;
    EXPECT_EQ(control_.args(0), Args{"rescan"});
    EXPECT_TRUE(contains(control_.calls()[0]["commandLine"], "vhost-tools\\devcon_amd64.exe\" rescan"));
    EXPECT_TRUE(contains(log(), "INFO     rescan done, elapsed time: "));
    EXPECT_TRUE(logged("DEBUG    Rescan result=1"));
    EXPECT_TRUE(contains(log(), "DEBUG    ProcUtil::runAsync()...\""));

    control_.answer({{"tool", "devcon_amd64.exe"}, {"exit", 2}, {"output", "devcon.exe failed.\r\n"}});
    auto failed = run("--rescan --debug");
    EXPECT_EQ(failed.exitCode, 0x2000000Au);
    EXPECT_TRUE(logged("WARNING  rescan error code: 2"));
    EXPECT_TRUE(logged("DEBUG    Rescan result=0"));
}

TEST_F(HostToolsEndToEnd, AHostWithoutToolsCannotStartThem) {
    std::ofstream(dir_.file("host.json"), std::ios::binary | std::ios::trunc) << hostJson(false);
    EXPECT_EQ(run("--rescan").exitCode, 0x2000000Au);
    EXPECT_TRUE(contains(log(), "WARNING  Failed to run rescan, error: (LE=0x2, ")) << log();
    EXPECT_EQ(run("--enablepci --vid 1 --did 2").exitCode, 0x2000000Bu);
    EXPECT_TRUE(contains(log(), "WARNING  Failed to enable device, error: (LE=0x2, "));
    EXPECT_EQ(run("--suspend-proc app.exe").exitCode, 0x2000001Bu);
    EXPECT_TRUE(logged("WARNING  suspend process error code: 2"));
    EXPECT_EQ(run("--cleand -d 2").exitCode, 0x20000011u);
    EXPECT_TRUE(logged("WARNING  clean disk error code: 2"));
    EXPECT_TRUE(control_.calls().empty());
}

TEST_F(HostToolsEndToEnd, DisableHidesTheControllersDisksUntilEnabled) {
    auto off = run("--disablepci --vid 7982 --did 43017 --debug");
    EXPECT_EQ(off.exitCode, 0u) << off.output;
    EXPECT_EQ(control_.args(0), (Args{"disable", "PCI\\VEN_1F2E&DEV_A809"}));
    EXPECT_TRUE(contains(log(), "INFO     disable device done, elapsed time: "));
    EXPECT_TRUE(logged("DEBUG    Disable PCI device result=1"));
    EXPECT_EQ(run("--exist -d 1").exitCode, 0xC0380011u) << "disk 1 is gone with its controller";
    EXPECT_EQ(run("--exist -d 2").exitCode, 0u);

    auto on = run("--enablepci --vid 7982 --did 43017 --debug");
    EXPECT_EQ(on.exitCode, 0u);
    EXPECT_TRUE(logged("DEBUG    Enable PCI device result=1"));
    EXPECT_EQ(run("--exist -d 1").exitCode, 0u);
    EXPECT_EQ(run("--enablepci --vid 1 --did 2").exitCode, 0x2000000Bu);
    EXPECT_EQ(control_.args(control_.calls().size() - 1), (Args{"enable", "PCI\\VEN_0001&DEV_0002"}));
    EXPECT_TRUE(logged("WARNING  enable device error code: 2\nNo matching devices found.\r\n")) << log();
}

TEST_F(HostToolsEndToEnd, OnRebootCountsAsDoneEvenWithAFailingCode) {
    control_.answer({{"verb", "disable"}, {"exit", 1}, {"output", "PCI\\VEN_1F2E: Disabled on reboot\r\n"}});
    EXPECT_EQ(run("--disablepci --vid 7982 --did 43017").exitCode, 0u);
    EXPECT_TRUE(contains(log(), "INFO     disable device done, skip on reboot message, elapsed time: "));
    // Exit code 0 wins over the text; any other code without it fails,
    // and the whole output follows the code, however long.
    control_.answer({{"verb", "enable"}, {"exit", 3}, {"output", "head\r\n"}, {"outputBytes", 9000}});
    EXPECT_EQ(run("--enablepci --vid 7982 --did 43017").exitCode, 0x2000000Bu);
    EXPECT_TRUE(logged("WARNING  enable device error code: 3\nhead\r\n" + zeltest::standInFiller(9000)));
    EXPECT_EQ(run("--disablepci --vid 1 --did 1").exitCode, 0u) << "the rule answers for any disable";
}

TEST_F(HostToolsEndToEnd, FormatAssignsALetterThenRunsTheAction) {
    auto format = run("--formatd -d 2 -a rw --rw write --size 64");
    EXPECT_EQ(format.exitCode, 0u) << format.output;
    ASSERT_EQ(tools(), Args{"diskpart.exe"});
    EXPECT_EQ(control_.args(0), (Args{"/s", "diskpart_format.txt"}));
    EXPECT_EQ(control_.calls()[0]["script"],
              "select disk 2\r\nclean\r\ncreate partition primary\r\nformat fs=ntfs quick\r\nassign letter=D\r\n"
              "exit\r\n");
    EXPECT_FALSE(zeltest::fileExists(dir_.file("diskpart_format.txt")));
    EXPECT_TRUE(contains(log(), "INFO     format disk done, elapsed time: "));
    EXPECT_TRUE(logged("INFO     Format disk... done"));
    ASSERT_TRUE(contains(format.output, "[100%]")) << "the rw action ran";
    EXPECT_LT(format.output.find("Format disk... done"), format.output.find("[100%]"));
    auto info = run("--info -d 2");
    EXPECT_TRUE(contains(info.output, "Drive letter: D")) << info.output;

    // A disk with a letter keeps it.
    EXPECT_EQ(run("--formatd -d 1").exitCode, 0u);
    EXPECT_TRUE(contains(control_.calls().back()["script"], "assign letter=E\r\n"));
}

TEST_F(HostToolsEndToEnd, AFailedFormatEndsTheRunBeforeTheAction) {
    control_.answer({{"tool", "diskpart.exe"}, {"exit", 4}});
    auto failed = run("--formatd -d 2 -a rw --rw write --size 64");
    EXPECT_EQ(failed.exitCode, 0x20000010u);
    EXPECT_TRUE(logged("WARNING  format disk error code: 0x4"));
    EXPECT_TRUE(logged("INFO     Format disk... failed"));
    EXPECT_FALSE(contains(failed.output, "%]")) << "no action";
    EXPECT_EQ(run("--formatd -d 9").exitCode, 0x20000007u);
    EXPECT_EQ(control_.calls().size(), 1u);
}

TEST_F(HostToolsEndToEnd, CleanRemovesTheVolumesAndCanGoOnToTheAction) {
    EXPECT_EQ(run("--cleand -d 1").exitCode, 0u);
    EXPECT_EQ(control_.calls()[0]["script"], "select disk 1\r\nclean\r\nexit\r\n");
    EXPECT_FALSE(zeltest::fileExists(dir_.file("diskpart_clean.txt")));
    EXPECT_TRUE(contains(log(), "INFO     clean disk done, elapsed time: "));
    EXPECT_TRUE(logged("INFO     Clean disk... done"));
    EXPECT_FALSE(contains(run("--info -d 1").output, "Drive letter")) << "its letter E is gone";

    auto action = run("--cleand -d 2 -a wkld");
    EXPECT_TRUE(contains(action.output, "Miss some options (diskid / path)!")) << "the run reached the action";
    control_.answer({{"tool", "diskpart.exe"}, {"exit", 5}});
    EXPECT_EQ(run("--cleand -d 2 -a wkld").exitCode, 0x20000011u);
    EXPECT_TRUE(logged("WARNING  clean disk error code: 5")) << "decimal for clean";
    EXPECT_TRUE(logged("INFO     Clean disk... failed"));
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
        auto suspend = run("--suspend-proc " + onCommandLine);
        EXPECT_EQ(suspend.exitCode, 0u) << name;
        ASSERT_EQ(control_.calls().size(), before + 1) << name;
        EXPECT_EQ(control_.args(before), (Args{"-accepteula", name}));
        EXPECT_TRUE(contains(log(), "INFO     suspend process " + name + " done, elapsed time: ")) << name;
    }
    // ZelCli.exe itself runs while it waits for the stand-in.
    EXPECT_EQ(run("--resume-proc ZelCli.exe").exitCode, 0u);
    EXPECT_EQ(control_.args(control_.calls().size() - 1), (Args{"-accepteula", "-r", "ZelCli.exe"}));
    EXPECT_TRUE(contains(log(), "INFO     resume process ZelCli.exe done, elapsed time: "));
    EXPECT_EQ(run("--suspend-proc ghost.exe").exitCode, 0x2000001Bu) << "no process of that name";
    EXPECT_TRUE(logged("WARNING  suspend process error code: -1"));

    const size_t calls = control_.calls().size();
    EXPECT_EQ(run("--resume-proc=-r").exitCode, 0x2000001Cu) << "a name that reads as a switch";
    EXPECT_TRUE(logged("WARNING  resume process error code: 536870916"));
    EXPECT_EQ(control_.calls().size(), calls);

    control_.answer({{"tool", "pssuspend64.exe"}, {"exit", -1}});
    EXPECT_EQ(run("--suspend-proc app.exe").exitCode, 0x2000001Bu);
    EXPECT_TRUE(logged("WARNING  suspend process error code: -1"));
    EXPECT_EQ(run("--resume-proc app.exe").exitCode, 0x2000001Cu);
    EXPECT_TRUE(logged("WARNING  resume process error code: -1"));
}

TEST_F(HostToolsEndToEnd, UpdateDriverOutsideTheInfFolderAnswersInverted) {
    auto updated = run("--update-driver \"D:\\pkg\\zel nvme.inf\" -d 1");
    EXPECT_EQ(updated.exitCode, 0x2000001Eu) << "a successful update answers the failure code";
    ASSERT_EQ(control_.calls().size(), 1u);
    EXPECT_EQ(control_.args(0), (Args{"update", "PCI\\VEN_1F2E&DEV_A809", "D:\\pkg\\zel nvme.inf"}));
    EXPECT_TRUE(contains(log(), "devcon_amd64.exe update \"PCI\\VEN_1F2E&DEV_A809\" \"D:\\pkg\\zel nvme.inf\""));
    EXPECT_TRUE(contains(log(), "INFO     Execute... "));
    EXPECT_TRUE(logged("INFO     Updating drivers for PCI\\VEN_1F2E&DEV_A809 from D:\\pkg\\zel nvme.inf.\r\n"
                       "Drivers installed successfully.\r\n"));
    EXPECT_TRUE(contains(updated.output, "4. rc=0\r\n"));
    EXPECT_FALSE(contains(updated.output, "1. rc="));

    control_.answer({{"verb", "update"}, {"exit", 2}});
    auto failed = run("--update-driver \"C:\\drivers\\\\\" -d 1");
    EXPECT_EQ(failed.exitCode, 0u) << "and a failed one answers 0";
    EXPECT_TRUE(contains(failed.output, "4. rc=2\r\n"));
    EXPECT_EQ(control_.args(1), (Args{"update", "PCI\\VEN_1F2E&DEV_A809", "C:\\drivers\\"}));
}

TEST_F(HostToolsEndToEnd, UpdateDriverFromTheInfFolderRestartsTheDevice) {
    auto updated = run("--update-driver c:\\windows\\inf\\oem3.inf -d 1");
    EXPECT_EQ(updated.exitCode, 0x2000001Eu);
    EXPECT_EQ(tools(), (Args(4, "devcon_amd64.exe")));
    const std::vector<Args> all = allArgs();
    EXPECT_EQ(std::vector<Args>(all.begin() + 1, all.end()),
              (std::vector<Args>{{"rescan"}, {"disable", "PCI\\VEN_1F2E&DEV_A809"}, {"enable", "PCI\\VEN_1F2E&DEV_A809"}}));
    const std::string& out = updated.output;
    for (const char* line : {"1. rc=0\r\n", "2. rc=0\r\n", "3. rc=0\r\n", "4. rc=0\r\n"})
        EXPECT_TRUE(contains(out, line)) << line;
    EXPECT_LT(out.find("3. rc="), out.find("4. rc="));

    // A reboot request (1) still counts as done; a failed disable stops.
    control_.answer({{"verb", "rescan"}, {"exit", 1}});
    control_.answer({{"verb", "disable"}, {"exit", 2}});
    auto stopped = run("--update-driver c:\\windows\\inf\\oem3.inf -d 1");
    EXPECT_EQ(stopped.exitCode, 0x2000001Eu);
    EXPECT_TRUE(contains(stopped.output, "2. rc=1\r\n"));
    EXPECT_TRUE(contains(stopped.output, "3. rc=2\r\n"));
    EXPECT_FALSE(contains(stopped.output, "4. rc="));
    EXPECT_EQ(control_.calls().size(), 7u) << "no enable";
    // The folder test is case-sensitive.
    run("--update-driver C:\\Windows\\INF\\oem3.inf -d 1");
    EXPECT_EQ(control_.calls().size(), 8u);
}

TEST_F(HostToolsEndToEnd, DriverCommandsNeedAnNvmeDiskWithItsPciSide) {
    EXPECT_EQ(run("--update-driver x.inf -d 9").exitCode, 0x20000007u);
    EXPECT_EQ(run("--update-driver x.inf -d 2").exitCode, 0x20000003u);
    EXPECT_EQ(run("--delete-driver Zeltron -d 9").exitCode, 0x20000007u);
    EXPECT_EQ(run("--delete-driver Zeltron -d 2").exitCode, 0x20000003u);
    std::ofstream(dir_.file("host.json"), std::ios::binary | std::ios::trunc) << hostJson(true, false);
    EXPECT_EQ(run("--delete-driver Zeltron -d 1").exitCode, 0x20000001u) << "the last error: no port-I/O driver";
    EXPECT_EQ(run("--update-driver x.inf -d 1").exitCode, 0x20000003u);
    EXPECT_TRUE(control_.calls().empty());
}

TEST_F(HostToolsEndToEnd, DeleteDriverRemovesTheKeywordsPackagesAndTheDevice) {
    auto deleted = run("--delete-driver \"Provider: Zeltron\" -d 1");
    EXPECT_EQ(deleted.exitCode, 0u) << deleted.output;
    EXPECT_EQ(tools(), (Args{"devcon_amd64.exe", "pnputil.exe", "pnputil.exe", "devcon_amd64.exe",
                             "devcon_amd64.exe"}));
    EXPECT_EQ(allArgs(), (std::vector<Args>{{"dp_enum"}, {"/delete-driver", "oem3.inf", "/force"},
                                             {"/delete-driver", "oem8.inf", "/force"},
                                             {"remove", "/r", "PCI\\VEN_1F2E&DEV_A809"}, {"rescan"}}));
    EXPECT_TRUE(logged("INFO     Going to delete driver oem3.inf"));
    EXPECT_TRUE(logged("INFO     Execute... pnputil /delete-driver oem8.inf /force"));
    EXPECT_TRUE(contains(log(), "devcon_amd64.exe remove /r \"PCI\\VEN_1F2E&DEV_A809\""));
    EXPECT_TRUE(contains(systemState(), "\"OEM3.INF\"") && contains(systemState(), "\"OEM8.INF\""));
    EXPECT_EQ(run("--exist -d 1").exitCode, 0u) << "back after the rescan";

    // Deleted packages are no longer listed: only the device goes.
    EXPECT_EQ(run("--delete-driver \"Provider: Zeltron\" -d 1").exitCode, 0u);
    EXPECT_EQ(control_.calls().size(), 8u);
}

TEST_F(HostToolsEndToEnd, DeleteDriverFailures) {
    control_.answer({{"tool", "pnputil.exe"}, {"exit", 5}});
    EXPECT_EQ(run("--delete-driver Zeltron -d 1").exitCode, 0x2000001Fu);
    EXPECT_EQ(tools(), (Args{"devcon_amd64.exe", "pnputil.exe"})) << "stops at the first failure";

    control_.answer({{"verb", "remove"}, {"exit", 2}});
    EXPECT_EQ(run("--delete-driver NoSuchKeyword -d 1").exitCode, 0x2000001Eu);
    EXPECT_EQ(control_.calls().size(), 4u) << "dp_enum, remove; no rescan";
}

TEST_F(HostToolsEndToEnd, DeleteDriverFailsWhenTheRescanAsksForMore) {
    control_.answer({{"verb", "rescan"}, {"exit", 1}});
    EXPECT_EQ(run("--delete-driver NoSuchKeyword -d 1").exitCode, 0x2000001Fu) << "a rescan above 0 fails";
    EXPECT_EQ(allArgs(), (std::vector<Args>{{"dp_enum"}, {"remove", "/r", "PCI\\VEN_1F2E&DEV_A809"}, {"rescan"}}));
}

}  // namespace
