// The stand-ins of the system tools acting on a virtual host: what each
// command changes, what it answers, and that the change persists.
#include <gtest/gtest.h>

#include <fstream>

#include "tests/support/TempDir.h"
#include "vhost/HostDescription.h"
#include "vhost/StandInTools.h"
#include "vhost/SystemChanges.h"

namespace {

using namespace zel::vhost;

// Disk 0 holds the Windows letter C.
const char kHost[] = R"({"driverPackages": [{"name": "oem3.inf", "provider": "Zeltron"}, {"name": "oem9.inf"}],
  "disks": [{"number": 0, "busType": 11, "sectorCount": 100000, "volumes": [{"letter": "C", "totalBytes": 1000}]},
    {"number": 1, "busType": 17, "sectorCount": 100000, "pci": {"vendorId": "0x1F2E", "deviceId": "0xA809"}}]})";

class StandInTools : public testing::Test {
protected:
    StandInTools() {
        std::ofstream(dir_.file("host.json")) << kHost;
        std::string problem;
        EXPECT_TRUE(loadHostDescription(dir_.file("host.json"), &description_, &problem)) << problem;
    }
    ToolAnswer devcon(std::vector<std::string> args) { return runDevconStandIn(args, host_); }

    zeltest::TempDir dir_;
    HostDescription description_;
    SystemChanges changes_{dir_.file("host.json") + ".state"};
    ToolHost host_{description_, changes_, 'C'};
};

// What a run does through the stand-ins (disable, enable, remove and
// rescan, the driver store, formats and cleans, suspends, the OS drive's
// controller) is checked by HostToolsEndToEnd; here what ZelCli.exe never
// asks of them.
TEST_F(StandInTools, MalformedOrUnmatchedCommandsFail) {
    auto pnputil = [&](std::vector<std::string> args) { return runPnputilStandIn(args, host_).exitCode; };
    auto diskpart = [&](const char* script) { return runDiskpartStandIn(script, host_).exitCode; };
    EXPECT_EQ(devcon({"enable"}).exitCode, 3u);
    EXPECT_EQ(devcon({"frobnicate"}).exitCode, 3u);
    EXPECT_EQ(devcon({"update", "PCI\\VEN_0000&DEV_0000", "x.inf"}).exitCode, 2u);
    EXPECT_EQ(pnputil({"/delete-driver", "OEM3.INF", "/force"}), 0u) << "names match without regard to case";
    EXPECT_EQ(pnputil({"/delete-driver", "oem3.inf", "/force"}), 2u) << "gone";
    EXPECT_EQ(pnputil({"/delete-driver", "oem9.inf", "/forced"}), 87u);

    EXPECT_EQ(diskpart("select disk 0\r\nclean\r\nexit\r\n"), 4u);
    SystemChanges next(description_.stateFolder);  // as the next run reads it
    std::vector<std::string> problems;
    EXPECT_TRUE(next.load(&problems));
    EXPECT_EQ(next.volumes(description_.disks[0]).size(), 1u) << "the OS disk keeps its volume";
    auto taken = runDiskpartStandIn(
        "select disk 1\r\nclean\r\ncreate partition primary\r\nassign letter=C\r\nexit\r\n", host_);
    EXPECT_EQ(taken.exitCode, 4u);
    EXPECT_NE(taken.output.find("The specified drive letter is not free to be assigned."), std::string::npos);
    EXPECT_EQ(diskpart("select disk 7\r\n"), 4u);
    EXPECT_EQ(diskpart("clean\r\n"), 4u) << "no disk selected";
    EXPECT_EQ(diskpart("select disk 1\r\nclean all\r\n"), 5u);

    auto running = [](const std::string& name) { return name == "x"; };
    EXPECT_NE(runPssuspendStandIn({"-r"}, running).exitCode, 0u);
    EXPECT_NE(runPssuspendStandIn({"a", "b"}, running).exitCode, 0u);
}

TEST_F(StandInTools, ADamagedStateFileReadsAsNothingChanged) {
    devcon({"disable", "PCI\\VEN_1F2E&DEV_A809"});
    std::ofstream(description_.stateFolder + "/system.json", std::ios::trunc) << "{\"disabled\": [3]}";
    SystemChanges damaged(description_.stateFolder);
    std::vector<std::string> problems;
    EXPECT_FALSE(damaged.load(&problems));
    EXPECT_EQ(problems, std::vector<std::string>{"system.json.disabled: expected text entries"});
    EXPECT_FALSE(damaged.controllerOff(description_.disks[1]));
}

}  // namespace
