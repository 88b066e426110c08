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

TEST_F(StandInTools, DisableHidesUntilEnableRemoveUntilRescan) {
    auto off = devcon({"disable", "PCI\\VEN_1F2E&DEV_A809"});
    EXPECT_EQ(off.exitCode, 0u);
    EXPECT_NE(off.output.find(": Disabled\r\n1 device(s) disabled.\r\n"), std::string::npos) << off.output;
    EXPECT_TRUE(reloaded().controllerOff(disk(1)));
    EXPECT_FALSE(reloaded().controllerOff(disk(0)));
    devcon({"rescan"});
    EXPECT_TRUE(reloaded().controllerOff(disk(1))) << "a rescan does not enable";
    EXPECT_EQ(devcon({"enable", "pci\\VEN_1F2E&DEV_A809"}).exitCode, 0u);
    EXPECT_FALSE(reloaded().controllerOff(disk(1)));

    EXPECT_EQ(devcon({"remove", "/r", "PCI\\VEN_1F2E&DEV_A809"}).exitCode, 0u);
    EXPECT_TRUE(reloaded().controllerOff(disk(1)));
    EXPECT_EQ(devcon({"rescan"}).output, "Scanning for new hardware.\r\nScanning completed.\r\n");
    EXPECT_FALSE(reloaded().controllerOff(disk(1)));
}

TEST_F(StandInTools, TheOsDrivesControllerChangesOnlyOnReboot) {
    auto answer = devcon({"disable", "PCI\\VEN_1F2E&DEV_A80A"});
    EXPECT_EQ(answer.exitCode, 1u);
    EXPECT_NE(answer.output.find("Disabled on reboot"), std::string::npos) << answer.output;
    EXPECT_FALSE(reloaded().controllerOff(disk(2)));
    EXPECT_NE(devcon({"remove", "/r", "PCI\\VEN_1F2E&DEV_A80A"}).output.find("Removed on reboot"), std::string::npos);
}

TEST_F(StandInTools, DevconFailuresAndDriverStore) {
    EXPECT_EQ(devcon({"enable", "PCI\\VEN_0000&DEV_0000"}).exitCode, 2u);
    EXPECT_EQ(devcon({"enable"}).exitCode, 3u);
    EXPECT_EQ(devcon({"frobnicate"}).exitCode, 3u);
    EXPECT_EQ(devcon({"update", "PCI\\VEN_1F2E&DEV_A809", "x.inf"}).exitCode, 0u);
    EXPECT_EQ(devcon({"update", "PCI\\VEN_0000&DEV_0000", "x.inf"}).exitCode, 2u);
    const std::string listing = devcon({"dp_enum"}).output;
    EXPECT_EQ(listing.find("The following 3rd party Driver Packages are on this machine:\r\noem3.inf\r\n"
                           "    Provider: Zeltron\r\n    Class: Storage controllers\r\n"
                           "    Driver date/version: 01/02/2024 1.2.3.4\r\n    Signer name: Signer A\r\noem9.inf\r\n"),
              0u)
        << listing;

    auto deleted = zel::vhost::runPnputilStandIn({"/delete-driver", "OEM3.INF", "/force"}, host_);
    EXPECT_EQ(deleted.exitCode, 0u);
    EXPECT_EQ(deleted.output, "Microsoft PnP Utility\r\n\r\nDriver package deleted successfully.\r\n");
    EXPECT_EQ(zel::vhost::runPnputilStandIn({"/delete-driver", "oem3.inf", "/force"}, host_).exitCode, 2u)
        << "gone";
    EXPECT_EQ(zel::vhost::runPnputilStandIn({"/delete-driver", "oem9.inf", "/forced"}, host_).exitCode, 87u);
    EXPECT_EQ(devcon({"dp_enum"}).output.find("oem3.inf"), std::string::npos);
    SystemChanges next = reloaded();
    EXPECT_EQ(next.deletedPackages().count("OEM3.INF"), 1u);
}

TEST_F(StandInTools, DiskpartCleansFormatsAndRefusesTheOsDisk) {
    auto format = zel::vhost::runDiskpartStandIn(
        "select disk 1\r\nclean\r\ncreate partition primary\r\nformat fs=ntfs quick\r\nassign letter=f\r\nexit\r\n",
        host_);
    EXPECT_EQ(format.exitCode, 0u) << format.output;
    const auto volumes = reloaded().volumes(disk(1));
    ASSERT_EQ(volumes.size(), 1u);
    EXPECT_EQ(volumes[0].letter, 'F');
    EXPECT_EQ(volumes[0].totalBytes, 100000u * 512 - (1 << 20));
    EXPECT_EQ(volumes[0].freeBytes, volumes[0].totalBytes);

    auto clean = zel::vhost::runDiskpartStandIn("select disk 1\nclean\nexit\n", host_);
    EXPECT_EQ(clean.exitCode, 0u);
    EXPECT_TRUE(reloaded().volumes(disk(1)).empty());

    auto os = zel::vhost::runDiskpartStandIn("select disk 0\r\nclean\r\nexit\r\n", host_);
    EXPECT_EQ(os.exitCode, 4u);
    EXPECT_EQ(reloaded().volumes(disk(0)).size(), 1u);

    auto taken = zel::vhost::runDiskpartStandIn(
        "select disk 1\r\ncreate partition primary\r\nassign letter=C\r\nexit\r\n", host_);
    EXPECT_EQ(taken.exitCode, 4u);
    EXPECT_NE(taken.output.find("The specified drive letter is not free to be assigned."), std::string::npos);
    EXPECT_EQ(zel::vhost::runDiskpartStandIn("select disk 7\r\n", host_).exitCode, 4u);
    EXPECT_EQ(zel::vhost::runDiskpartStandIn("clean\r\n", host_).exitCode, 4u) << "no disk selected";
    EXPECT_EQ(zel::vhost::runDiskpartStandIn("select disk 1\r\nclean all\r\n", host_).exitCode, 5u);
}

TEST_F(StandInTools, PssuspendAnswersForRunningProcessesOnly) {
    auto running = [](const std::string& name) { return name == "my app.exe" || name == "x"; };
    auto suspend = zel::vhost::runPssuspendStandIn({"-accepteula", "my app.exe"}, running);
    EXPECT_EQ(suspend.exitCode, 0u);
    EXPECT_EQ(suspend.output, "Process my app.exe suspended.\r\n");
    EXPECT_EQ(zel::vhost::runPssuspendStandIn({"-r", "x"}, running).output, "Process x resumed.\r\n");
    auto absent = zel::vhost::runPssuspendStandIn({"ghost.exe"}, running);
    EXPECT_NE(absent.exitCode, 0u);
    EXPECT_EQ(absent.output, "Process ghost.exe is not running.\r\n");
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
