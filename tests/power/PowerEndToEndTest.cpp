// The pwr action run as scripts run it, against the virtual host.
#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "core/WinReg.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TempDir.h"

namespace {

using zeltest::contains;

const char kSmartKey[] = "SOFTWARE\\ZEL\\smart";
const char kDutKey[] = "SOFTWARE\\ZEL\\dut";

// Disk 0 a SATA drive with a volatile cache behind the SATA board on disk
// 2; disk 1 an NVMe drive behind the PCIe board on disk 3.
std::string powerHost(const std::string& pcieBoardExtra = "", const std::string& nvmeExtra = "",
                      const std::string& top = "") {
    return R"({)" + top + R"("disks": [
  {"number": 0, "busType": 11, "model": "Pwr SATA", "serial": "PSATA0", "sectorCount": 8192,
   "driver": {"provider": "Microsoft"}, "scsiAddress": {"port": 0}, "writeCache": "volatile"},
  {"number": 1, "busType": 17, "model": "Pwr NVMe", "serial": "PNVME1", "sectorCount": 8192,
   "driver": {"provider": "Microsoft"}, "scsiAddress": {"port": 1}, "pci": {"vendorId": "0x1AB2"})" + nvmeExtra + R"(},
  {"number": 2, "busType": 7, "model": "HX410   Reader", "firmware": "2.00", "serial": "SB2", "sectorCount": 64,
   "scsiAddress": {"port": 2}},
  {"number": 3, "busType": 7, "model": "HXPWR410 Virtual", "firmware": "2.10", "serial": "PB3", "sectorCount": 64,
   "scsiAddress": {"port": 3}}],
 "powerSwitches": [{"kind": "SataHX410V2", "disk": 2, "powers": [0]},
   {"kind": "PcieHX410V2", "disk": 3, "powers": [1], "millivolts": 4001, "milliamps": 50)" + pcieBoardExtra + R"(}]})";
}

// NVMe SMART/health page: power cycles at 112, unsafe shutdowns at 144.
const char kNvmeConfig[] = R"([global]
test_sections = health
[health]
protocol = nvme
log_page = 2
log_page_size = 512
attr_amount = 2
attr_id_1 = 119:112
attr_desc_1 = Power cycles
attr_type_1 = number,$pwrcycle
attr_id_2 = 151:144
attr_desc_2 = Unsafe shutdowns
attr_type_2 = number,$ugsd
)";

class PowerEndToEnd : public testing::Test {
protected:
    void SetUp() override {
        for (const char* name : {"pwrcycle_retry_cnt", "gsd_retry_cnt", "ugsd_retry_cnt"})
            zel::WinReg::deleteValue(kSmartKey, name);
        useHost(powerHost());
    }
    void useHost(const std::string& description) {
        std::ofstream(dir_.file("host.json"), std::ios::binary) << description;
    }
    zeltest::ChildResult run(const std::string& args) {
        return zeltest::runZelCli(args + " --logdir \"" + dir_.path() + "\" --logfile run.log", dir_.path(),
                                  {"ZELCLI_VHOST=" + dir_.file("host.json")});
    }
    std::string file(const std::string& name) const { return zeltest::readFile(dir_.file(name)); }
    bool stateHas(const std::string& name) const {
        return std::filesystem::exists(dir_.file("host.json.state\\" + name));
    }
    nlohmann::json counters(int disk) const {
        return nlohmann::json::parse(file("host.json.state\\counters.json"))["disks"][std::to_string(disk)];
    }
    std::string boardLog() const {
        std::string log = file("host.json.state\\power-switches.log");
        log.erase(std::remove(log.begin(), log.end(), '\r'), log.end());
        return log;
    }
    static std::string reg(const char* key, const char* name) {
        return zel::WinReg::readText(key, name).value_or("<absent>");
    }
    // A little-endian counter of the SMART/health page in a saved reading.
    uint64_t pageCounter(const std::string& bin, size_t offset) const {
        const std::string page = file(bin);
        uint64_t value = 0;
        for (int i = 7; i >= 0; --i) value = value << 8 | static_cast<uint8_t>(page.at(offset + i));
        return value;
    }

    zeltest::TempDir dir_;
};

}  // namespace

TEST_F(PowerEndToEnd, OffHidesTheDutFromInfoAndOnBringsItBack) {
    ASSERT_TRUE(contains(run("--info").output, "Serial number: PSATA0"));
    auto off = run("-a pwr -d 0 --pwrid 2 --pwrctrl off");
    ASSERT_EQ(off.exitCode, 0u) << off.output;
    EXPECT_FALSE(contains(run("--info").output, "Serial number: PSATA0"));
    EXPECT_TRUE(contains(run("--info").output, "Serial number: PNVME1")) << "another board's disk keeps its power";
    auto on = run("-a pwr --disksn PSATA0 --pwrmodel Reader --pwrctrl on");
    ASSERT_EQ(on.exitCode, 0u) << on.output;
    EXPECT_TRUE(contains(run("--info").output, "Serial number: PSATA0"));
    EXPECT_EQ(boardLog(), "disk 2 SataHX410V2 off F1 41 FF FF 00 00 00 00 00 00 00 00 00 00 00 00\n"
                          "disk 2 SataHX410V2 on F1 41 00 00 00 00 00 00 00 00 00 00 00 00 00 00\n");
    EXPECT_EQ(counters(0)["powerCycles"], 1);
    EXPECT_EQ(counters(0)["unsafeShutdowns"], 1);
}

TEST_F(PowerEndToEnd, UgsdCountsAnUnsafeShutdownThatTheSmartLimitsExpect) {
    std::ofstream(dir_.file("SMART.ini"), std::ios::binary) << kNvmeConfig;
    ASSERT_EQ(run("-a smart -d 1 --out-bin first.bin").exitCode, 0u);
    auto ugsd = run("-a pwr -d 1 --pwrid 3 --pwrctrl ugsd --pwroffto 10 --pwronto 10");
    ASSERT_EQ(ugsd.exitCode, 0u) << ugsd.output;
    EXPECT_EQ(reg(kSmartKey, "ugsd_retry_cnt"), "0");
    EXPECT_EQ(reg(kSmartKey, "pwrcycle_retry_cnt"), "0");
    EXPECT_EQ(reg(kDutKey, "pwrctrl"), "ugsd");
    EXPECT_EQ(reg(kDutKey, "disk_sn"), "PNVME1");
    EXPECT_EQ(reg(kDutKey, "attempts"), "1");
    EXPECT_EQ(reg(kDutKey, "result"), "0");

    auto checked = run("-a smart -d 1 --prev-smart-bin first.bin --out-bin second.bin");
    EXPECT_EQ(checked.exitCode, 0u) << checked.output;
    EXPECT_EQ(pageCounter("second.bin", 112), pageCounter("first.bin", 112) + 1);
    EXPECT_EQ(pageCounter("second.bin", 144), pageCounter("first.bin", 144) + 1);

    // Two flows against limits that expect one: the check bites.
    ASSERT_EQ(run("-a pwr -d 1 --pwrid 3 --pwrctrl ugsd --pwroffto 10 --pwronto 10").exitCode, 0u);
    ASSERT_EQ(run("-a pwr -d 1 --pwrid 3 --pwrctrl ugsd --pwroffto 10 --pwronto 10").exitCode, 0u);
    EXPECT_EQ(run("-a smart -d 1 --prev-smart-bin second.bin").exitCode, 0x20000102u);
}

TEST_F(PowerEndToEnd, GsdOnNvmeIsGracefulWhenTheNotificationCompletes) {
    auto gsd = run("-a pwr -d 1 --pwrid 3 --pwrctrl gsd --pwroffto 10 --pwronto 10");
    ASSERT_EQ(gsd.exitCode, 0u) << gsd.output;
    EXPECT_EQ(counters(1)["unsafeShutdowns"], 0);
    EXPECT_EQ(counters(1)["powerCycles"], 1);
    EXPECT_EQ(reg(kSmartKey, "gsd_retry_cnt"), "0");
}

TEST_F(PowerEndToEnd, GsdOnSataFlushesAndStandsByFirst) {
    ASSERT_EQ(run("-a rw -d 0 --rw write --pattern fixed --size 256").exitCode, 0u);
    auto gsd = run("-a pwr -d 0 --pwrid 2 --pwrctrl gsd --pwroffto 10 --pwronto 10 --pwrcmddelay 0.1");
    ASSERT_EQ(gsd.exitCode, 0u) << gsd.output;
    EXPECT_EQ(counters(0)["unsafeShutdowns"], 0);
    EXPECT_EQ(counters(0)["powerCycles"], 1);
    EXPECT_EQ(reg(kSmartKey, "gsd_retry_cnt"), "0");
    EXPECT_EQ(reg(kDutKey, "pwrctrl"), "gsd");
    EXPECT_TRUE(contains(gsd.output, "[SataPowerCycleFlow] Disk0 is back after")) << gsd.output;
}

TEST_F(PowerEndToEnd, ReadCompareAfterUgsdFindsExactlyTheUnflushedWrites) {
    std::string sector;
    for (int i = 0; i < 256; ++i) sector += "\x55\xAA";
    std::ofstream(dir_.file("fixed.bin"), std::ios::binary) << sector;
    ASSERT_EQ(run("-a rw -d 0 --rw write --pattern fixed --size 256").exitCode, 0u);
    ASSERT_EQ(run("-a pwr -d 0 --pwrid 2 --pwrctrl gsd --pwroffto 10 --pwronto 10").exitCode, 0u);
    ASSERT_EQ(run("-a rw -d 0 --rw write --pattern fixed --start 256 --size 256").exitCode, 0u);
    auto ugsd = run("-a pwr -d 0 --pwrid 2 --pwrctrl ugsd --pwroffto 10 --pwronto 10");
    ASSERT_EQ(ugsd.exitCode, 0u) << ugsd.output;
    EXPECT_EQ(counters(0)["unsafeShutdowns"], 1);

    EXPECT_EQ(run("-a rw -d 0 --rw read --size 256 --in-bin fixed.bin").exitCode, 0u) << "flushed before the gsd";
    auto read = run("-a rw -d 0 --rw read --size 512 --bs 256k --in-bin fixed.bin");
    ASSERT_EQ(read.exitCode, 0x20000130u) << read.output;
    const std::string actual = file("miscompare-actual_1.bin");
    ASSERT_EQ(actual.size(), 512u * 512);
    for (size_t lba = 0; lba < 512; ++lba) {
        const std::string got = actual.substr(lba * 512, 512);
        if (lba < 256)
            ASSERT_EQ(got, sector) << "LBA " << lba;
        else
            ASSERT_EQ(got, std::string(512, '\0')) << "LBA " << lba << " was never flushed";
    }
}

TEST_F(PowerEndToEnd, MeasureWritesTheIniAndTheVoltageFollowsVol) {
    auto measured = run("-a pwr -d 1 --pwrid 3 --pwrctrl measure --out-ini m.ini");
    ASSERT_EQ(measured.exitCode, 0u) << measured.output;
    EXPECT_TRUE(contains(measured.output, "Voltage:4001.00mV, Current: 50.00mA, Power:200.05mW")) << measured.output;
    EXPECT_TRUE(contains(file("m.ini"), "[power]\r\nvoltage_mv=4001.00\r\ncurrent_ma=50.00\r\npower_mw=200.05"))
        << file("m.ini");

    auto lowered = run("-a pwr -d 1 --pwrid 3 --pwrctrl vol --vol \"<3.6\"");
    ASSERT_EQ(lowered.exitCode, 0u) << lowered.output;
    ASSERT_EQ(run("-a pwr -d 1 --pwrid 3 --pwrctrl measure --out-ini m.ini").exitCode, 0u);
    EXPECT_TRUE(contains(file("m.ini"), "voltage_mv=3549.75")) << "3550 mV in 1.25 mV steps\n" << file("m.ini");

    EXPECT_EQ(run("-a pwr -d 1 --pwrid 3 --pwrctrl vol --vol 3.6V").exitCode, 0x20000116u);
    EXPECT_EQ(run("-a pwr -d 0 --pwrid 2 --pwrctrl measure").exitCode, 0x20000114u) << "the SATA board cannot";
    EXPECT_EQ(run("-a pwr -d 0 --pwrid 2 --pwrctrl vol --vol 3.3").exitCode, 0x20000115u);
}

TEST_F(PowerEndToEnd, SwitchProblemsHaveTheirCodes) {
    EXPECT_EQ(run("-a pwr -d 0 --pwrid 1 --pwrctrl off").exitCode, 0x20000113u) << "an NVMe drive is no switch";
    EXPECT_EQ(run("-a pwr -d 0 --pwrmodel Nothing --pwrctrl off").exitCode, 0x20000113u);
    EXPECT_EQ(run("-a pwr -d 0 --pwrid 3 --pwrctrl ugsd --pwroffto 0.5 --pwronto 0.5").exitCode, 0x20000111u)
        << "the PCIe board does not power disk 0";
    // A board that takes the command is not enough: the DUT has to go, or come back.
    EXPECT_EQ(run("-a pwr -d 0 --pwrid 3 --pwrctrl off --pwroffto 0.5").exitCode, 0x20000111u);
    EXPECT_TRUE(contains(run("--info").output, "Serial number: PNVME1")) << "the cut rail was switched on again";
    ASSERT_EQ(run("-a pwr -d 0 --pwrid 2 --pwrctrl off").exitCode, 0u);
    EXPECT_EQ(run("-a pwr --disksn PSATA0 --pwrid 3 --pwrctrl on --pwronto 0.5").exitCode, 0x20000112u);
    EXPECT_EQ(run("-a pwr --disksn PSATA0 --pwrid 2 --pwrctrl on --pwronto 0.5").exitCode, 0u);
    useHost(powerHost(R"(, "failCommands": true)"));
    EXPECT_EQ(run("-a pwr -d 1 --pwrid 3 --pwrctrl off").exitCode, 0x20000110u);
    EXPECT_TRUE(contains(run("--info").output, "Serial number: PNVME1"));
}

TEST_F(PowerEndToEnd, DutThatDoesNotComeBackIsRetriedThenReported) {
    useHost(powerHost("", R"(, "powerOnDelayMs": 60000)"));
    auto flow = run("-a pwr -d 1 --pwrid 3 --pwrctrl ugsd --pwroffto 5 --pwronto 0.5 --pwrcycle-retrycnt 2");
    EXPECT_EQ(flow.exitCode, 0x20000112u) << flow.output;
    EXPECT_EQ(reg(kDutKey, "attempts"), "3");
    EXPECT_EQ(reg(kDutKey, "result"), std::to_string(0x20000112u));
    EXPECT_EQ(reg(kSmartKey, "ugsd_retry_cnt"), "<absent>") << "no counters for a DUT that is gone";
    EXPECT_EQ(counters(1)["powerCycles"], 3);
}

TEST_F(PowerEndToEnd, SataGpioSwitchesThroughTheJMicronBridge) {
    useHost(R"({"disks": [
  {"number": 0, "busType": 11, "serial": "GPIO0", "sectorCount": 64, "driver": {"provider": "Microsoft"},
   "scsiAddress": {"port": 0}},
  {"number": 5, "busType": 7, "vendor": "JMicron", "model": "Generic USB", "serial": "JM5", "sectorCount": 64,
   "scsiAddress": {"port": 5}}],
 "powerSwitches": [{"kind": "JMicronS583", "disk": 5, "powers": [0]}]})");
    EXPECT_EQ(run("-a pwr -d 0 --pwrid 5 --pwrctrl off").exitCode, 0x20000113u) << "without --pwrtype";
    auto off = run("-a pwr -d 0 --pwrid 5 --pwrtype sata_gpio --pwrctrl off");
    ASSERT_EQ(off.exitCode, 0u) << off.output;
    EXPECT_EQ(boardLog(), "disk 5 JMicronS583 off DF 47 00 00 00 00 00 00 00 00 00 00 00 00 00 00\n");
    EXPECT_FALSE(contains(run("--info").output, "Serial number: GPIO0"));
}

// The OS drive (volume C) is the NVMe drive behind the PCIe board: nothing
// that switches or changes its power reaches the board or its controller.
TEST_F(PowerEndToEnd, OsDrivePowerIsNeverTouched) {
    useHost(powerHost("", R"(, "volumes": [{"letter": "C", "totalBytes": 4096}])"));
    std::filesystem::create_directories(dir_.file("host.json.state"));
    std::string image;
    for (int i = 0; i < 65536; ++i) image += static_cast<char>(i * 7 + 1);
    std::ofstream(dir_.file("host.json.state\\disk1.img"), std::ios::binary) << image;

    const char* controls[] = {"off", "on", "vol --vol 3.3", "gsd", "ugsd", "ugsd --shortcycle 3",
                              "gsd --shortcycle 1", "d3hot --sleepdelay 0"};
    for (const char* control : controls) {
        SCOPED_TRACE(control);
        auto refused = run(std::string("-a pwr -d 1 --pwrid 3 --pwroffto 1 --pwronto 1 --pwrctrl ") + control);
        EXPECT_EQ(refused.exitCode, 0x20000005u) << refused.output;
        EXPECT_TRUE(contains(refused.output, "WARNING  [PowerRun] Disk1 is the OS drive")) << refused.output;
    }
    EXPECT_FALSE(stateHas("power-switches.log")) << boardLog();
    EXPECT_FALSE(stateHas("power-events.log")) << "no D3hot";
    EXPECT_EQ(counters(1)["powerCycles"], 0);
    EXPECT_EQ(counters(1)["unsafeShutdowns"], 0);
    EXPECT_EQ(counters(1)["powered"], true);
    EXPECT_EQ(file("host.json.state\\disk1.img"), image);
    // The meter only reads.
    EXPECT_EQ(run("-a pwr -d 1 --pwrid 3 --pwrctrl measure").exitCode, 0u);
}

// A graceful cycle that cannot tell the controller does not cut the power;
// and the controller told is the DUT's own, whatever a loaded configuration
// says about its BAR0 (here: the other NVMe drive's) or its PCI location.
TEST_F(PowerEndToEnd, GracefulCycleThatCannotBeGracefulDoesNotCut) {
    const std::string unplaced = R"({"disks": [
  {"number": 1, "busType": 17, "model": "Pwr NVMe", "serial": "PNVME1", "sectorCount": 8192,
   "driver": {"provider": "Microsoft"}, "scsiAddress": {"port": 1}},
  {"number": 3, "busType": 7, "model": "HXPWR410 Virtual", "firmware": "2.10", "serial": "PB3", "sectorCount": 64,
   "scsiAddress": {"port": 3}},
  {"number": 4, "busType": 17, "model": "Other NVMe", "serial": "ONVME4", "sectorCount": 8192,
   "driver": {"provider": "Microsoft"}, "scsiAddress": {"port": 4}, "pci": {"vendorId": "0x1AB2", "bus": 4}}],
 "powerSwitches": [{"kind": "PcieHX410V2", "disk": 3, "powers": [1]}]})";
    // Disk 1 as an earlier run on another host saw it: bus 4, disk 4's BAR0.
    std::ofstream(dir_.file("cf.json"), std::ios::binary) << R"({"drive_info_list": [{"model": "Pwr NVMe",
  "sn": "PNVME1", "fw_rev": "", "disk_type": 2, "protocol_type": 0, "bus": 4, "dev": 0, "fun": 0, "vid": 6834,
  "did": 0, "hwid": "", "base_addr": 3225419776, "link_speed": 3, "link_width": 4, "link_str": "", "mps": 256,
  "mps_str": "", "pxcap_offset": 112, "pmcap_offset": 64, "disk_info_list": []}]})";
    struct Case {
        std::string host, args;
        uint32_t code;
        const char* warning;
    } cases[] = {
        {powerHost("", "", R"("portIoDriver": false, )"), "gsd", 0x20000111u,
         "Cannot notify the NVMe controller of disk 1: the port-I/O driver is not loaded"},
        {unplaced, "gsd", 0x20000111u, "Cannot notify the NVMe controller of disk 1: its PCI function cannot be read"},
        {unplaced, "gsd --commfile cf.json", 0x20000111u,
         "Cannot notify the NVMe controller of disk 1: its PCI function cannot be read"},
        {unplaced, "d3hot --sleepdelay 0 --commfile cf.json", 0x20000117u,
         "No PCI power management capability on disk 1"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.args);
        std::filesystem::remove_all(dir_.file("host.json.state"));
        useHost(c.host);
        auto flow = run("-a pwr -d 1 --pwrid 3 --pwroffto 5 --pwronto 5 --pwrctrl " + c.args);
        EXPECT_EQ(flow.exitCode, c.code) << flow.output;
        EXPECT_TRUE(contains(flow.output, std::string("WARNING  ") + c.warning)) << flow.output;
        EXPECT_FALSE(contains(flow.output, "Set shutdown notification")) << "no register was written";
        EXPECT_FALSE(stateHas("power-switches.log")) << boardLog();
        EXPECT_FALSE(stateHas("power-events.log")) << "no other function changed its power state";
        EXPECT_EQ(counters(1)["powerCycles"], 0);
    }
}
