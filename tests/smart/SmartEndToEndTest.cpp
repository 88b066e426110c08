#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>
#include <regex>

#include "core/WinReg.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestHosts.h"

namespace {

using zeltest::contains;
using zeltest::withoutCr;

const char kKey[] = "SOFTWARE\\ZEL\\smart";

// NVMe SMART/health page: data units written at 48..63, power cycles at 112..127.
const char kNvmeConfig[] =
    "[global]\ntest_sections = health\n[health]\nprotocol = nvme\nlog_page = 2\nlog_page_size = 512\n"
    "attr_amount = 3\nattr_id_1 = 2:1\nattr_desc_1 = Temperature, composite\nattr_type_1 = number,$tempc\n"
    "attr_id_2 = 55:48\nattr_desc_2 = Data units written\nattr_limit_2 = diff>=1\n"
    "attr_id_3 = 119:112\nattr_desc_3 = Power cycles\nattr_type_3 = number,$pwrcycle\n";

const char kSataConfig[] =
    "[global]\ntest_sections = main\n[main]\nprotocol = ata\nattr_amount = 3\n"
    "attr_id_1 = 5\nattr_desc_1 = Reallocated sectors\nattr_limit_1 = val<=10\nattr_id_2 = 12\n"
    "attr_id_3 = 0xF1[3:0]\nattr_desc_3 = Sectors written\nattr_limit_3 = diff>=1\n";

std::string sataHost(const std::string& attributes) {
    return R"({"disks": [{"number": 0, "busType": 11, "model": "Smart SATA", "serial": "SATA0001",
      "driver": {"provider": "Microsoft"}, "sectorCount": 65536, "scsiAddress": {"port": 0},
      "smartAttributes": )" + attributes + "}]}";
}

const char kSataAttributes[] = R"([{"id": 5, "threshold": 10, "raw": 7}, {"id": 12, "rawFrom": "powerCycles"},
    {"id": 9, "rawFrom": "powerOnHours"}, {"id": 241, "rawFrom": "sectorsWritten"}])";

// NVMe drives behind the JMicron bridge: 0 through its tunnel, 1 a bridge without the tunnel.
const char kJMicronHost[] = R"({"disks": [
  {"number": 0, "busType": 7, "vendor": "JMicron", "model": "Generic USB", "serial": "JM0", "sectorCount": 65536,
   "nvmeLogPages": {"0xC0": {"size": 12288, "bytes": {"4100": "5A A5", "8200": "34 12"}}}},
  {"number": 1, "busType": 7, "vendor": "JMicron", "model": "Generic USB", "serial": "JM1", "sectorCount": 65536,
   "nvmeBridge": false}]})";

// kNvmeConfig with one more section after "health".
std::string nvmeConfigWith(const std::string& name, const std::string& body) {
    std::string text = kNvmeConfig;
    return text.insert(text.find("\n[health]"), "," + name) + "[" + name + "]\nprotocol = nvme\n" + body;
}

// A folder with a host description, the configuration and every result.
class SmartEndToEnd : public testing::Test {
protected:
    void SetUp() override {
        for (const char* name : {"pwrcycle_retry_cnt", "gsd_retry_cnt", "ugsd_retry_cnt", "last_success",
                                 "last_pwr_on_hr", "monitor_period"})
            zel::WinReg::deleteValue(kKey, name);
        useHost(zeltest::routeHost());
    }
    void useHost(const std::string& text) { std::ofstream(dir_.file("host.json"), std::ios::binary) << text; }
    void config(const std::string& text) { std::ofstream(dir_.file("SMART.ini"), std::ios::binary) << text; }
    zeltest::ChildResult run(const std::string& args) {
        return zeltest::runZelCli(args + " --logdir \"" + dir_.path() + "\" --logfile run.log", dir_.path(),
                                  {"ZELCLI_VHOST=" + dir_.file("host.json")});
    }
    zeltest::ChildResult runExpecting(const std::string& args, uint32_t code) {
        zeltest::ChildResult result = run(args);
        EXPECT_EQ(result.exitCode, code) << args << "\n" << result.output;
        return result;
    }
    std::string file(const std::string& name) const { return withoutCr(zeltest::readFile(dir_.file(name))); }
    static std::string reg(const char* name) { return zel::WinReg::readText(kKey, name).value_or("<absent>"); }
    // Each part is in the text; each pattern is found in it.
    static void expectIn(const std::string& text, const std::vector<std::string>& parts, std::string where = "") {
        for (const std::string& part : parts) EXPECT_TRUE(contains(text, part)) << where << part << "\n" << text;
    }
    static void expectRows(const std::string& text, std::initializer_list<const char*> patterns) {
        for (const char* row : patterns) EXPECT_TRUE(std::regex_search(text, std::regex(row))) << row << "\n" << text;
    }
    nlohmann::json smartInfo(int disk) const {
        auto doc = nlohmann::json::parse(zeltest::readFile(dir_.file("zelcli_actres.json")));
        for (const auto& drive : doc["drive_info_list"])
            for (const auto& d : drive["disk_info_list"])
                if (d["id"] == disk) return d["smart_info"];
        return nullptr;
    }

    zeltest::TempDir dir_;
};

}  // namespace

TEST_F(SmartEndToEnd, NvmeReadingsFollowTrafficAcrossRuns) {
    config(kNvmeConfig);
    runExpecting("-a smart -d 1 --lid 2,1 --lpsize 512,128 --out-bin first.bin,errors.bin --out-csv health.csv", 0);
    EXPECT_EQ(zeltest::readFile(dir_.file("first.bin")).size(), 512u);
    EXPECT_EQ(zeltest::readFile(dir_.file("errors.bin")).size(), 128u) << "sizes pair with the pages";
    const std::string firstSuccess = reg("last_success");

    ASSERT_EQ(run("-a rw -d 1 --rw write --size 1m").exitCode, 0u);
    zel::WinReg::writeText(kKey, "pwrcycle_retry_cnt", "2");
    auto second = runExpecting("-a smart -d 1 --prev-smart-bin first.bin --init-smart-bin first.bin "
                               "--out-bin second.bin --out-csv health.csv --out-log table.txt",
                               0);
    EXPECT_NE(reg("last_success"), firstSuccess);
    EXPECT_EQ(reg("pwrcycle_retry_cnt") + "," + reg("ugsd_retry_cnt"), "-1,-1") << "both retry counters reset";
    EXPECT_FALSE(contains(second.output, "although this check failed")) << second.output;
    // 2048 sectors written are 3 data units (thousands, rounded up).
    expectRows(file("table.txt"), {R"(\n- +37:30 +3 +0 +0 +Data units written\n)"});
    EXPECT_TRUE(contains(withoutCr(second.output), "Offset          Curr Value")) << "column width 16";
    auto json = smartInfo(1);
    EXPECT_EQ(json["attributes"][1]["value"], 3);
    EXPECT_EQ(json["attributes"][2]["limit"], "diff<=3") << "pwrcycle_retry_cnt read from the registry";

    config(std::string(kNvmeConfig) + "attr_limit_1 = val<=300\n");  // 311 K is over
    auto third = runExpecting("-a smart -d 1 --prev-smart-bin second.bin --out-csv health.csv", 0x20000102);
    expectIn(withoutCr(third.output), {"SMART Value Conflicts:\n", "  -Offset: [2]2:1, Limit: val<=300\n",
                                       "  -Offset: [2]37:30, Limit: diff>=1\n", "Detect SMART limit conflict.",
                                       "last_success and the retry counters are reset although this check failed"});
    EXPECT_EQ(smartInfo(1)["result"], "conflict");

    const std::string csv = file("health.csv");
    EXPECT_EQ(std::count(csv.begin(), csv.end(), '\n'), 4) << "heading and three rows\n" << csv;
    EXPECT_EQ(csv.find("time,", 1), std::string::npos) << csv;
    expectIn(csv, {"\"(2)2:1 Temperature, composite\"", ",link_speed,link_width\n"});
}

TEST_F(SmartEndToEnd, SataAndBridgeDisksReadTheSmartSector) {
    for (int disk : {0, 4}) {
        SetUp();
        useHost(disk == 0 ? sataHost(kSataAttributes)
                          : zeltest::routeHost("\"smartAttributes\": " + std::string(kSataAttributes), 4));
        config(kSataConfig);
        const std::string d = std::to_string(disk);
        runExpecting("-a smart -d " + d + " --out-bin s.bin --out-ini s.ini", 0);
        expectIn(file("s.ini"), {"[smart]\n5=7\n12=0\n241=0\n"});
        ASSERT_EQ(run("-a rw -d " + d + " --rw write --size 16").exitCode, 0u);
        runExpecting("-a smart -d " + d + " --prev-smart-bin s.bin --out-log t.txt", 0);
        expectRows(file("t.txt"),
                   {R"(\n- +0xF1\[3:0\] +16 +0 +Sectors written\n)", R"(\n  0x05 +7 +7 +Reallocated sectors\n)"});
    }
}

TEST_F(SmartEndToEnd, PowerOnHoursBracketsFollowTheHostClock) {
    auto hostAt = [&](int seconds) {
        std::string h = sataHost(R"([{"id": 9, "rawFrom": "powerOnHours"}])");
        return h.insert(1, "\"clockOffsetSeconds\": " + std::to_string(seconds) + ", ");
    };
    config("[global]\ntest_sections = t\n[t]\nprotocol = ata\nattr_amount = 1\nattr_id_1 = 9\n"
           "attr_type_1 = number,$pwronhr\n");
    useHost(hostAt(0));
    ASSERT_EQ(run("-a smart -d 0 --out-bin start.bin").exitCode, 0u);
    useHost(hostAt(7800));  // 2 h 10 min later
    runExpecting("-a smart -d 0 --prev-smart-bin start.bin", 0);
    EXPECT_EQ(smartInfo(0)["attributes"][0]["limit"], "diff>=1 && diff<=3");
    EXPECT_EQ(smartInfo(0)["attributes"][0]["current"], "2");
    useHost(hostAt(7800 + 18000));  // 5 h after that check, 7 h after the saved reading
    expectIn(runExpecting("-a smart -d 0 --prev-smart-bin start.bin", 0x20000102).output,
             {"  -ID: 0x9[5:0], Limit: diff>=4 && diff<=6"});
}

// Also the drive's threshold verdict (skip_2cf4 leaves it unasked).
TEST_F(SmartEndToEnd, FailedStepsWarnAndSetTheirCodes) {
    const std::string none = "[global]\ntest_sections =\n";  // so that no limit fails first
    const uint32_t kAnyFailure = 1;
    const char worn[] = R"([{"id": 5, "current": 10, "threshold": 10, "raw": 90}])";
    // The host (none: the route host), the configuration, the arguments, the
    // code, and the lines in the output or the debug log.
    const std::tuple<std::string, std::string, std::string, uint32_t, std::vector<std::string>> cases[] = {
        {"", none, "-d 5", 0x20000100, {"WARNING  Failed to read SMART data, LID=0"}},  // no SAT
        {"", "[global]\ntest_sections = h\n[h]\nprotocol = ata\nattr_amount = 1\n", "-d 1", 0x20000101,
         {"Assigned section is not for NVMe"}},
        {"", kNvmeConfig, "-d 1 --prev-smart-bin nowhere.bin --init-smart-bin nowhere.bin", 0x20000100,
         {"Failed to read prev data from SMART bin file", "Failed to read init data from SMART bin file"}},
        {"", kNvmeConfig, "-d 1 --out-bin \"" + dir_.file("no\\such\\folder.bin") + "\"", kAnyFailure,
         {"Failed to output SMART data, LID=2, to "}},
        {"", none, "-d 1 --lid 0xEE", 0x20000100, {"Failed to read SMART data, LID=238"}},
        {"", none, "-d 1 --lid 300", 0x20000004, {"--lid is not a valid number: \"300\""}},
        {"", none, "-d 0 --lid 2", 0, {"--lid and --lpsize apply to NVMe disks only"}},
        {sataHost(worn), none, "-d 0", 0x20000103, {"The device has detected a threshold exceeded condition."}},
        {sataHost(worn), "[global]\ntest_sections = t\n[t]\nprotocol = ata\nskip_2cf4 = 1\nattr_amount = 0\n",
         "-d 0", 0, {}},
        {zeltest::routeHost(R"("health": {"availableSpare": 5})", 1), kNvmeConfig, "-d 1", 0x20000103,
         {"The device has detected a threshold exceeded condition."}},
        {kJMicronHost, none, "-d 1 --lid 2 --debug", 0x20000100,
         {"Failed to read SMART data, LID=2", "command phase failed: SCSI status 2, sense key 5h, ASC 20h"}},
    };
    for (const auto& [host, ini, args, code, lines] : cases) {
        useHost(host.empty() ? zeltest::routeHost() : host);
        config(ini);
        std::remove(dir_.file("run.log").c_str());
        auto result = run("-a smart " + args);
        if (code != kAnyFailure) { EXPECT_EQ(result.exitCode, code) << args << "\n" << result.output; }
        EXPECT_EQ(result.exitCode != 0, code != 0) << args << "\n" << result.output;
        expectIn(result.output + file("run.log"), lines, args + "\n");
    }
}

TEST_F(SmartEndToEnd, LogPageOffsetReadsTheSameBytesOnEveryRoute) {
    // Page C0h: bytes 0..7 count up, a marker at 4096; the inbox query has
    // no offset field, so the offset must not fall back to byte 0 there.
    const std::string page = R"("nvmeLogPages": {"0xC0": {"size": 8192,
        "bytes": {"0": "00 01 02 03 04 05 06 07", "4096": "5A A5"}}})";
    const std::tuple<int, int, uint32_t> cases[] =
        {{1, 4, 0}, {2, 4, 0}, {3, 4, 0}, {3, 4096, 0}, {1, 4096, 0x20000100}, {2, 4096, 0x20000100}};
    for (const auto& [disk, offset, code] : cases) {
        const bool low = offset == 4;
        SCOPED_TRACE("disk " + std::to_string(disk) + " offset " + std::to_string(offset));
        useHost(zeltest::routeHost(page, disk));
        config("[global]\ntest_sections = v\n[v]\nprotocol = nvme\nlog_page = 0xC0\nlog_page_offset = " +
               std::to_string(offset) + "\nlog_page_size = " + (low ? "4" : "512") + "\nattr_amount = 1\n" +
               (low    ? "attr_id_1 = 3:0\nattr_limit_1 = val==0x07060504\n"
                : code ? "attr_id_1 = 1:0\n"
                       : "attr_id_1 = 1:0\nattr_limit_1 = val==0xA55A\n"));
        std::remove(dir_.file("run.log").c_str());
        auto result = runExpecting("-a smart -d " + std::to_string(disk) + " --out-bin page.bin --debug", code);
        EXPECT_EQ(contains(file("run.log"), "OPC=2,"), code == 0) << file("run.log");
        if (code == 0)
            EXPECT_EQ(zeltest::readFile(dir_.file("page.bin")).size(), low ? 4u : 512u);
        else
            expectIn(result.output, {"Log page 0xC0: offset 4096 plus 512 bytes is more than the 4096 bytes this "
                                     "route reads from byte 0, not sent."});
    }
}

TEST_F(SmartEndToEnd, JMicronPagesThroughTheTunnelFollowWritesAndOffsets) {
    useHost(kJMicronHost);
    config(nvmeConfigWith("vendor", "log_page = 0xC0\nlog_page_size = 8192\nlog_page_offset = 4096\n"
                                    "attr_amount = 2\nattr_id_1 = 5:4\nattr_id_2 = 4105:4104\n"));
    ASSERT_EQ(run("-a smart -d 0 --out-ini first.ini").exitCode, 0u);
    expectIn(file("first.ini"), {"55:48=0\n", "[lid_192]\n5:4=42330\n4105:4104=4660\n"});
    ASSERT_EQ(run("-a rw -d 0 --rw write --size 1m").exitCode, 0u);
    ASSERT_EQ(run("-a smart -d 0 --out-ini second.ini").exitCode, 0u);
    EXPECT_TRUE(contains(file("second.ini"), "55:48=3\n")) << "2048 sectors are 3 data units\n" << file("second.ini");
}

// A reading of erased flash (every byte 0xFF) as the reference: $tempc and
// $pwrcycle skip their checks and go unmarked, the plain attribute shows
// that it changed. The broken second section fails the parse, but the
// first one's attributes are still checked.
TEST_F(SmartEndToEnd, FailingLaterSectionKeepsEarlierAttributesAndSkippedOnesGoUnmarked) {
    config(nvmeConfigWith("broken", "log_page = 0xC0\n"));
    std::ofstream(dir_.file("erased.bin"), std::ios::binary) << std::string(512, '\xFF');
    expectIn(runExpecting("-a smart -d 1 --prev-smart-bin erased.bin --out-log table.txt", 0x20000101).output,
             {"WARNING  attr_amount is not found"});
    const std::string table = file("table.txt");
    expectRows(table, {R"(\n  2:1 +\d+ +65262 +Temperature, composite\n)", R"(\n- +37:30 +0 +-1 +Data units written\n)",
                       R"(\n  77:70 +0 +-1 +Power cycles\n)"});
    EXPECT_FALSE(contains(table, "0xC0")) << "the broken section reads no page\n" << table;
    EXPECT_EQ(smartInfo(1)["attributes"].size(), 3u);
}

// A configuration that checks nothing still passes, with one warning naming
// the file; a mistyped name is created empty and says so.
TEST_F(SmartEndToEnd, ConfigurationThatChecksNothingWarns) {
    const std::string header =
        "[global]\ntest_sections = h\n[h]\nprotocol = nvme\nlog_page = 2\nattr_amount = 1\nattr_id_1 = 119:112\n";
    const struct {
        std::string config, args;
        const char* warning;  // after the path; none when something is checked
    } cases[] = {
        {kNvmeConfig, "--smart-config SMRAT.ini", " did not exist and was created empty: this run compares nothing"},
        {header + "attr_type_1 = number,$tempc\n", "", " checks no attribute"},
        {header + "attr_type_1 = number,$pwrcycle\n", "", nullptr},
        {header + "attr_limit_1 = val>=0\n", "", nullptr},
    };
    for (const auto& c : cases) {
        config(c.config);
        std::remove(dir_.file("SMRAT.ini").c_str());
        const auto result = run("-a smart -d 1 " + c.args);
        EXPECT_EQ(result.exitCode, 0u) << c.args << "\n" << result.output;
        const std::string file = dir_.file(c.args.empty() ? "SMART.ini" : "SMRAT.ini");
        const std::string line = "WARNING  [ActionSmart] The SMART configuration " + file;
        EXPECT_EQ(contains(result.output, line), c.warning != nullptr) << c.config << "\n" << result.output;
        if (c.warning) EXPECT_TRUE(contains(result.output, line + c.warning)) << result.output;
    }
}
