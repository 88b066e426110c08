// The pwr action run as scripts run it, against the virtual host.
#include <gtest/gtest.h>
#include <windows.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <regex>
#include <sstream>
#include <tuple>

#include "core/TextFormat.h"
#include "core/WinReg.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TempDir.h"

namespace {

using nlohmann::json;
using zeltest::contains;
using zeltest::withoutCr;

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

// NVMe SMART/health page: unsafe shutdowns at 144.
const char kNvmeConfig[] =
    "[global]\ntest_sections = health\n[health]\nprotocol = nvme\nlog_page = 2\nlog_page_size = 512\n"
    "attr_amount = 1\nattr_id_1 = 151:144\nattr_desc_1 = Unsafe shutdowns\nattr_type_1 = number,$ugsd\n";

class PowerEndToEnd : public testing::Test {
protected:
    void SetUp() override {
        for (const char* name : {"pwrcycle_retry_cnt", "gsd_retry_cnt", "ugsd_retry_cnt"})
            zel::WinReg::deleteValue(kSmartKey, name);
        useHost(powerHost());
    }
    void useHost(const std::string& text) { std::ofstream(dir_.file("host.json"), std::ios::binary) << text; }
    // A run as scripts make it: the exit code, and these lines in its output.
    zeltest::ChildResult run(const std::string& args, uint32_t code, std::initializer_list<const char*> lines = {}) {
        zeltest::ChildResult result = zeltest::runZelCli(args + " --logdir \"" + dir_.path() + "\" --logfile run.log",
                                                         dir_.path(), {"ZELCLI_VHOST=" + dir_.file("host.json")});
        EXPECT_EQ(result.exitCode, code) << args << "\n" << result.output;
        expectLines(result.output, lines);
        return result;
    }
    std::string info() { return run("--info", 0).output; }
    std::string file(const std::string& name) const { return zeltest::readFile(dir_.file(name)); }
    std::string state(const std::string& name) const { return file("host.json.state\\" + name); }
    bool stateHas(const std::string& name) const { return zeltest::fileExists(dir_.file("host.json.state\\" + name)); }
    json counters(int disk) const { return json::parse(state("counters.json"))["disks"][std::to_string(disk)]; }
    std::vector<json> events() const {
        std::vector<json> parsed;
        std::istringstream lines(state("power-events.log"));
        for (std::string line; std::getline(lines, line);) parsed.push_back(json::parse(line));
        return parsed;
    }
    // A system control, run as scripts do: the board and DUT play no part.
    static std::string sysControl(const std::string& name) { return "-a pwr -d 1 --pwrid 3 --pwrctrl " + name; }
    std::string boardLog() const { return withoutCr(state("power-switches.log")); }
    static void expectRegs(const std::vector<std::tuple<const char*, const char*, std::string>>& values) {
        for (const auto& [key, name, value] : values)
            EXPECT_EQ(zel::WinReg::readText(key, name).value_or("<absent>"), value) << key << "\\" << name;
    }
    // The named fields of an event or of a disk's counters, as given.
    static void expectFields(const json& actual, const json& fields) {
        for (const auto& [name, value] : fields.items())
            EXPECT_EQ(actual.contains(name) ? actual.at(name) : json(), value) << name << " in " << actual;
    }
    static void expectLines(const std::string& text, std::initializer_list<const char*> lines) {
        for (const char* line : lines) EXPECT_TRUE(contains(text, line)) << line << "\n" << text;
    }
    zeltest::TempDir dir_;
};

}  // namespace

TEST_F(PowerEndToEnd, UgsdCountsAnUnsafeShutdownThatTheSmartLimitsExpect) {
    std::ofstream(dir_.file("SMART.ini"), std::ios::binary) << kNvmeConfig;
    run("-a smart -d 1 --out-bin first.bin", 0);
    const std::string ugsd = "-a pwr -d 1 --pwrid 3 --pwrctrl ugsd --pwroffto 10 --pwronto 10";
    run(ugsd, 0);
    expectRegs({{kSmartKey, "ugsd_retry_cnt", "0"}, {kSmartKey, "pwrcycle_retry_cnt", "0"}, {kDutKey, "pwrctrl", "ugsd"},
                {kDutKey, "disk_sn", "PNVME1"}, {kDutKey, "attempts", "1"}, {kDutKey, "result", "0"}});
    EXPECT_EQ(counters(1)["unsafeShutdowns"], 1);
    run("-a smart -d 1 --prev-smart-bin first.bin --out-bin second.bin", 0);
    // Two flows against limits that expect one: the check bites.
    for (int flow = 0; flow < 2; ++flow) run(ugsd, 0);
    run("-a smart -d 1 --prev-smart-bin second.bin", 0x20000102u);
}

// A graceful cycle counts no unsafe shutdown: on NVMe the notification
// completes, on SATA the written data is flushed and the drive stands by.
TEST_F(PowerEndToEnd, GsdCountsNoUnsafeShutdownAndUgsdLosesTheUnflushedWrites) {
    std::string sector;
    for (int i = 0; i < 256; ++i) sector += "\x55\xAA";
    std::ofstream(dir_.file("fixed.bin"), std::ios::binary) << sector;
    run("-a rw -d 0 --rw write --pattern fixed --size 256", 0);
    for (int disk : {0, 1}) {
        const std::string dut = "-d " + std::to_string(disk) + " --pwrid " + std::to_string(disk + 2);
        auto gsd = run("-a pwr " + dut + " --pwrctrl gsd --pwroffto 10 --pwronto 10 --pwrcmddelay 0.1 --debug", 0);
        expectFields(counters(disk), {{"unsafeShutdowns", 0}, {"powerCycles", 1}});
        expectRegs({{kSmartKey, "gsd_retry_cnt", "0"}, {kDutKey, "pwrctrl", "gsd"}});
        EXPECT_TRUE(disk || contains(gsd.output, "[SataPowerCycleFlow] Disk0 is back after")) << gsd.output;
    }
    // The NVMe controller was told, each step logged; its BAR0 as the host places it.
    const std::string log = file("run.log");
    size_t at = 0;
    for (const char* line :
         {"INFO     Set shutdown notification to NVMe drive.", "DEBUG    retryNotifyShutdown() read CC at 0xC0100014",
          "DEBUG    retryNotifyShutdown() CC=460001", "DEBUG    retryNotifyShutdown() write CC=464001",
          "DEBUG    retryNotifyShutdown() verify CC=464001",
          "DEBUG    retryNotifyShutdown() read CSTS at 0xC0100000+0x1C", "INFO     SHST=2, complete? 1"})
        ASSERT_NE(at = log.find(line, at), std::string::npos) << line << "\n" << log;
    run("-a rw -d 0 --rw write --pattern fixed --start 256 --size 256", 0);
    run("-a pwr -d 0 --pwrid 2 --pwrctrl ugsd --pwroffto 10 --pwronto 10", 0);
    EXPECT_EQ(counters(0)["unsafeShutdowns"], 1);
    run("-a rw -d 0 --rw read --size 256 --in-bin fixed.bin", 0);  // flushed before the gsd
    run("-a rw -d 0 --rw read --size 512 --bs 256k --in-bin fixed.bin", 0x20000130u);
    const std::string actual = file("miscompare-actual_1.bin");
    ASSERT_EQ(actual.size(), 512u * 512);
    for (size_t lba = 0; lba < 512; ++lba)  // the second half was never flushed
        ASSERT_EQ(actual.substr(lba * 512, 512), lba < 256 ? sector : std::string(512, '\0')) << "LBA " << lba;
}

TEST_F(PowerEndToEnd, MeasureWritesTheIniAndTheVoltageFollowsVol) {
    const std::string measure = "-a pwr -d 1 --pwrid 3 --pwrctrl measure --out-ini m.ini";
    run(measure, 0, {"Voltage:4001.00mV, Current: 50.00mA, Power:200.05mW"});
    expectLines(file("m.ini"), {"[power]\r\nvoltage_mv=4001.00\r\ncurrent_ma=50.00\r\npower_mw=200.05"});
    run("-a pwr -d 1 --pwrid 3 --pwrctrl vol --vol \"<3.6\"", 0);
    run(measure, 0);
    expectLines(file("m.ini"), {"voltage_mv=3549.75"});  // 3550 mV in 1.25 mV steps
    run("-a pwr -d 1 --pwrid 3 --pwrctrl vol --vol 3.6V", 0x20000116u);
    run("-a pwr -d 0 --pwrid 2 --pwrctrl measure", 0x20000114u);  // the SATA board cannot
    run("-a pwr -d 0 --pwrid 2 --pwrctrl vol --vol 3.3", 0x20000115u);
}

// A board that takes the command is not enough: the DUT has to go, or come back.
TEST_F(PowerEndToEnd, OffHidesTheDutOnBringsItBackAndSwitchProblemsHaveTheirCodes) {
    run("-a pwr -d 0 --pwrid 2 --pwrctrl off", 0);
    const std::string off = info();
    EXPECT_FALSE(contains(off, "Serial number: PSATA0"));
    EXPECT_TRUE(contains(off, "Serial number: PNVME1")) << "another board's disk keeps its power";
    run("-a pwr --disksn PSATA0 --pwrid 3 --pwrctrl on --pwronto 0.5", 0x20000112u,  // not its board
        {"[PowerRun] The DUT (--disksn \"PSATA0\") did not appear after power on"});
    run("-a pwr --disksn PSATA0 --pwrmodel Reader --pwrctrl on", 0);
    EXPECT_TRUE(contains(info(), "Serial number: PSATA0"));
    EXPECT_EQ(boardLog(), "disk 2 SataHX410V2 off F1 41 FF FF 00 00 00 00 00 00 00 00 00 00 00 00\n"
                          "disk 3 PcieHX410V2 on C0 52 01 00 00 00 00 00 00 00 00 08 00 00 00 00\n"
                          "disk 2 SataHX410V2 on F1 41 00 00 00 00 00 00 00 00 00 00 00 00 00 00\n");
    expectFields(counters(0), {{"powerCycles", 1}, {"unsafeShutdowns", 1}});
    run("-a pwr -d 0 --pwrid 2 --pwrctrl xyz", 0x20000003u, {"[PowerRun] Power control \"xyz\" not supported!"});
    run("-a pwr -d 0 --pwrid 1 --pwrctrl off", 0x20000113u);  // an NVMe drive is no switch
    run("-a pwr -d 0 --pwrmodel Nothing --pwrctrl off", 0x20000113u);
    // The PCIe board does not power disk 0.
    run("-a pwr -d 0 --pwrid 3 --pwrctrl ugsd --pwroffto 0.5 --pwronto 0.5", 0x20000111u);
    run("-a pwr -d 0 --pwrid 3 --pwrctrl off --pwroffto 0.5", 0x20000111u);
    EXPECT_TRUE(contains(info(), "Serial number: PNVME1")) << "the cut rail was switched on again";
    useHost(powerHost(R"(, "failCommands": true)"));
    run("-a pwr -d 1 --pwrid 3 --pwrctrl off", 0x20000110u);
    EXPECT_TRUE(contains(info(), "Serial number: PNVME1"));
}

TEST_F(PowerEndToEnd, DutThatDoesNotComeBackIsRetriedThenReported) {
    useHost(powerHost("", R"(, "powerOnDelayMs": 60000)"));
    run("-a pwr -d 1 --pwrid 3 --pwrctrl ugsd --pwroffto 5 --pwronto 0.5 --pwrcycle-retrycnt 2", 0x20000112u,
        {"] Disk1 is not back, retry power cycle flow (2/2)"});
    // No counters for a DUT that is gone.
    expectRegs({{kDutKey, "attempts", "3"}, {kDutKey, "result", std::to_string(0x20000112u)},
                {kSmartKey, "ugsd_retry_cnt", "<absent>"}});
    EXPECT_EQ(counters(1)["powerCycles"], 3);
}

TEST_F(PowerEndToEnd, SataGpioSwitchesThroughTheJMicronBridge) {
    useHost(R"({"disks": [
  {"number": 0, "busType": 11, "serial": "GPIO0", "sectorCount": 64, "driver": {"provider": "Microsoft"},
   "scsiAddress": {"port": 0}},
  {"number": 5, "busType": 7, "vendor": "JMicron", "model": "Generic USB", "serial": "JM5", "sectorCount": 64,
   "scsiAddress": {"port": 5}}],
 "powerSwitches": [{"kind": "JMicronS583", "disk": 5, "powers": [0]}]})");
    run("-a pwr -d 0 --pwrid 5 --pwrctrl off", 0x20000113u);  // without --pwrtype
    run("-a pwr -d 0 --pwrid 5 --pwrtype sata_gpio --pwrctrl off", 0);
    EXPECT_EQ(boardLog(), "disk 5 JMicronS583 off DF 47 00 00 00 00 00 00 00 00 00 00 00 00 00 00\n");
    EXPECT_FALSE(contains(info(), "Serial number: GPIO0"));
}

// The OS drive (volume C) is the NVMe drive behind the PCIe board: the
// controls that the refusals across drive kinds do not run are refused too,
// with the reason, before the board is told anything. The meter only reads.
TEST_F(PowerEndToEnd, OsDrivePowerIsNeverTouched) {
    useHost(powerHost("", R"(, "volumes": [{"letter": "C", "totalBytes": 4096}])"));
    for (const char* control : {"on", "gsd --shortcycle 1", "ugsd"})
        run(std::string("-a pwr -d 1 --pwrid 3 --pwroffto 1 --pwronto 1 --pwrctrl ") + control, 0x20000005u,
            {"WARNING  [PowerRun] Disk1 is the OS drive"});
    EXPECT_FALSE(stateHas("power-switches.log")) << boardLog();
    EXPECT_EQ(counters(1)["powerCycles"], 0);
    run("-a pwr -d 1 --pwrid 3 --pwrctrl measure", 0);
}

// A graceful cycle that cannot tell the controller does not cut the power;
// and the controller told is the DUT's own, whatever a loaded configuration
// says about its BAR0 (here: the other NVMe drive's) or its PCI location.
TEST_F(PowerEndToEnd, GracefulCycleThatCannotBeGracefulDoesNotCutNorColdBootWrite) {
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
    const std::tuple<std::string, std::string, uint32_t, const char*> cases[] = {
        // host, control, code, warning
        {unplaced, "gsd --commfile cf.json", 0x20000111u,
         "WARNING  Cannot notify the NVMe controller of disk 1: its PCI function cannot be read"},
        {unplaced, "d3hot --sleepdelay 0 --commfile cf.json", 0x20000117u,
         "WARNING  No PCI power management capability on disk 1"},
        {powerHost("", "", R"("portIoDriver": false, )"), "gsd", 0x20000111u,
         "WARNING  Cannot notify the NVMe controller of disk 1: the port-I/O driver is not loaded"},
    };
    for (const auto& [host, control, code, warning] : cases) {
        SCOPED_TRACE(control);
        std::filesystem::remove_all(dir_.file("host.json.state"));
        useHost(host);
        auto flow = run("-a pwr -d 1 --pwrid 3 --pwroffto 5 --pwronto 5 --pwrctrl " + control, code, {warning});
        EXPECT_FALSE(contains(flow.output, "Set shutdown notification")) << "no register was written";
        EXPECT_FALSE(stateHas("power-switches.log")) << boardLog();
        EXPECT_FALSE(stateHas("power-events.log")) << "no other function changed its power state";
        EXPECT_EQ(counters(1)["powerCycles"], 0);
    }
    // Without the driver a cold boot still prints every line, and writes nothing.
    run(sysControl("coldboot"), 0,
        {"alarmtime1=", "Write CMOS 0x70/0x71 0xB/20, enable alarm interrupt", "Write IO 0xA1 0, unmask RTC interrupt",
         "Write IO 0x21 0, unmask master to slave", "Write IO 1800 4000000, clear RTC_STS and set RTC_EN",
         "Write IO 1804 4003C01, set PM1_CNT S5",  // the value last held
         "WARNING  The port-I/O driver is not loaded: nothing was written"});
    EXPECT_FALSE(stateHas("port-writes.log"));
    EXPECT_FALSE(stateHas("power-events.log"));
}

// A cold boot's nine printed lines agree with each other and with the alarm
// the host decoded from the CMOS writes; every disk goes through an unsafe
// cycle. S3, S4 and D3hot return, D3hot through the PM capability of the disk
// asked for, which keeps its power. Reboot and shutdown wait ten seconds for
// the end that a virtual host never brings, then report that the host
// survived; a CPU reset returns. --sleepdelay is read in the tool's number
// syntax, whole: a value it cannot read is refused before anything happens.
TEST_F(PowerEndToEnd, SystemControlsPrintAreRecordedAndFailWhenTheHostSurvives) {
    run(sysControl("s3 --sleepdelay 1e2"), 0x20000004u,
        {"WARNING  [ZelCli] --sleepdelay is not a valid number: \"1e2\""});
    EXPECT_FALSE(stateHas("power-events.log")) << "no S3";
    auto coldboot = run(sysControl("coldboot --sleepdelay 0x5A"), 0);
    const std::regex lines(
        R"(INFO     Entering S5\.\.\.\r?\n)"
        R"(now curr=(\d+), hr=(\d+), min=(\d+), sec=(\d+)\r?\n)"
        R"(alarmtime1=(\d+)\r?\n)"
        R"(Alarm hr=(\d+), min=(\d+), sec=(\d+)\r?\n)"
        R"(Alarm BCD hr=([0-9A-F]+), min=([0-9A-F]+), sec=([0-9A-F]+)\r?\n)"
        R"(Write CMOS 0x70/0x71 0xB/22, enable alarm interrupt\r?\n)"
        R"(Write IO 0xA1 FE, unmask RTC interrupt\r?\n)"
        R"(Write IO 0x21 FB, unmask master to slave\r?\n)"
        R"(Write IO 1800 4000000, clear RTC_STS and set RTC_EN\r?\n)"
        R"(Write IO 1804 3C01, set PM1_CNT S5\r?\n)");
    std::smatch m;
    ASSERT_TRUE(std::regex_search(coldboot.output, m, lines)) << coldboot.output;
    auto n = [&](int i) { return std::stoi(m[i].str()); };
    auto hex = [&](int i) { return std::stoi(m[i].str(), nullptr, 16); };
    auto secondsOf = [&](int first) { return n(first) * 3600 + n(first + 1) * 60 + n(first + 2); };
    EXPECT_EQ(n(1), secondsOf(2));
    EXPECT_EQ(n(5), n(1) + 90);
    EXPECT_TRUE(secondsOf(6) == n(5) || secondsOf(6) == n(5) - 86400) << secondsOf(6);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(hex(9 + i), n(6 + i) / 10 * 16 + n(6 + i) % 10) << "BCD of field " << i;
    for (int disk : {0, 1}) expectFields(counters(disk), {{"powerCycles", 1}, {"unsafeShutdowns", 1}});
    run(sysControl("s3 --sleepdelay 0Ah"), 0,
        {"INFO     Entering S3...\r\n", "INFO     Wake-up timer 10 seconds", "INFO     Resumed from S3 after"});
    run(sysControl("s4"), 0);  // --sleepdelay defaults to 60
    run(sysControl("d3hot --sleepdelay 0"), 0,
        {"INFO     Write PCI 01:00.0 0x44 B, set D3hot", "INFO     Write PCI 01:00.0 0x44 8, set D0"});
    EXPECT_EQ(counters(0)["powerCycles"], 3);
    run(sysControl("reboot"), 0x20000012u,
        {"INFO     Rebooting system...",
         "[ZelCli] Failed to execute action pwr... (LE=0x20000012, Failed to reboot system.)"});
    run(sysControl("shutdown"), 0x20000017u);
    run(sysControl("cpu"), 0);
    EXPECT_TRUE(contains(withoutCr(state("port-writes.log")), "0x0CF9 0x0000000A 1\n0x0CF9 0x0000000E 1\n"))
        << "a full reset armed, then RST_CPU raised";
    const auto all = events();
    ASSERT_EQ(all.size(), 8u);
    // The host's alarm, decoded from the CMOS writes, is the one printed.
    const std::string alarm = zel::formatText("%02X:%02X:%02X", hex(9), hex(10), hex(11));
    expectFields(all[0], {{"event", "S5"}, {"rtcAlarm", alarm}, {"alarmArmed", true}});
    expectFields(all[1], {{"event", "S3"}, {"wakeTimerSeconds", 10}});
    expectFields(all[2], {{"event", "S4"}, {"wakeTimerSeconds", 60}, {"unsafeShutdowns", json::array()}});
    expectFields(all[3], {{"event", "D3hot"}, {"disk", 1}});
    EXPECT_EQ(all[4]["event"], "D0");
    expectFields(all[5], {{"event", "reboot"}, {"unsafeShutdowns", json::array()}});
    expectFields(all[6], {{"event", "shutdown"}, {"command", "shutdown -s -t 0"}});
    expectFields(all[7], {{"event", "cpu-reset"}, {"reset", "cold"}, {"unsafeShutdowns", {0, 1, 2, 3}}});
    EXPECT_EQ(counters(1)["powerCycles"], 6) << "a cold boot, two suspends and three resets; not cut by D3hot";
}
