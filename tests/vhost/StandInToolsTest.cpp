// The stand-ins of the system tools acting on a virtual host: what each
// command changes, what it answers, and that the change persists.
#include <gtest/gtest.h>

#include <fstream>

#include "tests/support/TempDir.h"
#include "vhost/HostDescription.h"
#include "vhost/StandInTools.h"
#include "vhost/SystemChanges.h"

namespace {

using zel::vhost::HostDescription;
using zel::vhost::SystemChanges;
using zel::vhost::ToolHost;

const char kHost[] = R"({"toolsFolder": "tools",
  "driverPackages": [{"name": "oem3.inf", "provider": "Zeltron", "class": "Storage controllers",
                      "version": "01/02/2024 1.2.3.4", "signer": "Signer A"},
                     {"name": "oem9.inf", "provider": "Other", "class": "Display"}],
  "disks": [
    {"number": 0, "busType": 11, "sectorCount": 100000, "volumes": [{"letter": "C", "totalBytes": 1000}]},
    {"number": 1, "busType": 17, "sectorCount": 100000, "driver": {"provider": "Microsoft"},
     "pci": {"vendorId": "0x1F2E", "deviceId": "0xA809"}, "volumes": [{"letter": "E", "totalBytes": 1000}]},
    {"number": 2, "busType": 17, "sectorCount": 100000, "driver": {"provider": "Microsoft"},
     "pci": {"vendorId": "0x1F2E", "deviceId": "0xA80A"}, "volumes": [{"letter": "C", "totalBytes": 5}]}
  ]})";

class StandInTools : public testing::Test {
protected:
    StandInTools() {
        std::ofstream(dir_.file("host.json")) << kHost;
        std::string problem;
        EXPECT_TRUE(zel::vhost::loadHostDescription(dir_.file("host.json"), &description_, &problem)) << problem;
        changes_.load(&problems_);
    }
    // The state as the next run reads it.
    SystemChanges reloaded() {
        SystemChanges again(description_.stateFolder);
        EXPECT_TRUE(again.load(&problems_));
        return again;
    }
    zel::vhost::ToolAnswer devcon(std::vector<std::string> args) { return zel::vhost::runDevconStandIn(args, host_); }
    const zel::vhost::DiskDescription& disk(int n) { return description_.disks[n]; }

    zeltest::TempDir dir_;
    HostDescription description_;
    SystemChanges changes_{dir_.file("host.json") + ".state"};
    ToolHost host_{description_, changes_, 'C'};
    std::vector<std::string> problems_;
};

TEST_F(StandInTools, ToolsFolderIsTakenRelativeToTheDescription) {
    EXPECT_EQ(description_.toolsFolder, dir_.path() + "/tools");
    EXPECT_EQ(description_.driverPackages.size(), 2u);
    std::string problem;
    HostDescription bad;
    EXPECT_FALSE(zel::vhost::parseHostDescription(R"({"driverPackages": [{"provider": "x"}]})", &bad, &problem));
    EXPECT_EQ(problem, "driverPackages[0].name: a driver package needs its published name");
}

TEST_F(StandInTools, HardwareIdsMatchTheControllerWithoutRegardToCase) {
    EXPECT_TRUE(zel::vhost::controllerMatches(disk(1), "pci\\ven_1f2e&dev_a809"));
    EXPECT_FALSE(zel::vhost::controllerMatches(disk(1), "PCI\\VEN_1F2E&DEV_A80"));
    EXPECT_FALSE(zel::vhost::controllerMatches(disk(0), "PCI\\VEN_1F2E&DEV_A809"));
    EXPECT_TRUE(zel::vhost::controllerMatches(disk(1), disk(1).driver.instanceId)) << disk(1).driver.instanceId;
}

// What a run does through the stand-ins (disable, enable, remove and
// rescan, the driver store, formats and cleans, suspends) is checked by
// HostToolsEndToEnd; here what ZelCli.exe never asks of them.
TEST_F(StandInTools, RescanUndoesARemoveButNotADisable) {
    devcon({"disable", "PCI\\VEN_1F2E&DEV_A809"});
    devcon({"rescan"});
    EXPECT_TRUE(reloaded().controllerOff(disk(1))) << "a rescan does not enable";
    EXPECT_FALSE(reloaded().controllerOff(disk(0)));
    EXPECT_EQ(devcon({"enable", "pci\\VEN_1F2E&DEV_A809"}).exitCode, 0u);
    EXPECT_EQ(devcon({"remove", "/r", "PCI\\VEN_1F2E&DEV_A809"}).exitCode, 0u);
    EXPECT_TRUE(reloaded().controllerOff(disk(1)));
    devcon({"rescan"});
    EXPECT_FALSE(reloaded().controllerOff(disk(1)));
}

TEST_F(StandInTools, TheOsDrivesControllerChangesOnlyOnReboot) {
    auto answer = devcon({"disable", "PCI\\VEN_1F2E&DEV_A80A"});
    EXPECT_EQ(answer.exitCode, 1u);
    EXPECT_NE(answer.output.find("Disabled on reboot"), std::string::npos) << answer.output;
    EXPECT_FALSE(reloaded().controllerOff(disk(2)));
    EXPECT_NE(devcon({"remove", "/r", "PCI\\VEN_1F2E&DEV_A80A"}).output.find("Removed on reboot"), std::string::npos);
}

TEST_F(StandInTools, MalformedOrUnmatchedCommandsFail) {
    auto pnputil = [&](std::vector<std::string> args) { return zel::vhost::runPnputilStandIn(args, host_).exitCode; };
    auto diskpart = [&](const char* script) { return zel::vhost::runDiskpartStandIn(script, host_).exitCode; };
    EXPECT_EQ(devcon({"enable"}).exitCode, 3u);
    EXPECT_EQ(devcon({"frobnicate"}).exitCode, 3u);
    EXPECT_EQ(devcon({"update", "PCI\\VEN_0000&DEV_0000", "x.inf"}).exitCode, 2u);
    EXPECT_EQ(pnputil({"/delete-driver", "OEM3.INF", "/force"}), 0u) << "names match without regard to case";
    EXPECT_EQ(pnputil({"/delete-driver", "oem3.inf", "/force"}), 2u) << "gone";
    EXPECT_EQ(pnputil({"/delete-driver", "oem9.inf", "/forced"}), 87u);

    EXPECT_EQ(diskpart("select disk 0\r\nclean\r\nexit\r\n"), 4u);
    EXPECT_EQ(reloaded().volumes(disk(0)).size(), 1u) << "the OS disk keeps its volume";
    auto taken = zel::vhost::runDiskpartStandIn(
        "select disk 1\r\nclean\r\ncreate partition primary\r\nassign letter=C\r\nexit\r\n", host_);
    EXPECT_EQ(taken.exitCode, 4u);
    EXPECT_NE(taken.output.find("The specified drive letter is not free to be assigned."), std::string::npos);
    EXPECT_EQ(diskpart("select disk 7\r\n"), 4u);
    EXPECT_EQ(diskpart("clean\r\n"), 4u) << "no disk selected";
    EXPECT_EQ(diskpart("select disk 1\r\nclean all\r\n"), 5u);

    auto running = [](const std::string& name) { return name == "x"; };
    EXPECT_NE(zel::vhost::runPssuspendStandIn({"-r"}, running).exitCode, 0u);
    EXPECT_NE(zel::vhost::runPssuspendStandIn({"a", "b"}, running).exitCode, 0u);
}

TEST_F(StandInTools, ADamagedStateFileReadsAsNothingChanged) {
    devcon({"disable", "PCI\\VEN_1F2E&DEV_A809"});
    std::ofstream(description_.stateFolder + "/system.json", std::ios::trunc) << "{\"disabled\": [3]}";
    SystemChanges damaged(description_.stateFolder);
    std::vector<std::string> problems;
    EXPECT_FALSE(damaged.load(&problems));
    EXPECT_EQ(problems, std::vector<std::string>{"system.json.disabled: expected text entries"});
    EXPECT_FALSE(damaged.controllerOff(disk(1)));
}

}  // namespace
