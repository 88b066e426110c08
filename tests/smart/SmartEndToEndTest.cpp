#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <memory>
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

int countOf(const std::string& text, const std::string& part) {
    int n = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++n;
    return n;
}

// NVMe SMART/health page: data units written at 48..63, power cycles at
// 112..127, power-on hours at 128..143.
const char kNvmeConfig[] = R"([global]
test_sections = health
[health]
protocol = nvme
log_page = 2
log_page_size = 512
attr_amount = 3
attr_id_1 = 2:1
attr_desc_1 = Temperature, composite
attr_type_1 = number,$tempc
attr_id_2 = 55:48
attr_desc_2 = Data units written
attr_limit_2 = diff>=1
attr_id_3 = 119:112
attr_desc_3 = Power cycles
attr_type_3 = number,$pwrcycle
)";

const char kSataConfig[] = R"([global]
test_sections = main
[main]
protocol = ata
attr_amount = 3
attr_id_1 = 5
attr_desc_1 = Reallocated sectors
attr_limit_1 = val<=10
attr_id_2 = 12
attr_desc_2 = Power cycles
attr_type_2 = number,$pwrcycle
attr_id_3 = 0xF1[3:0]
attr_desc_3 = Sectors written
attr_limit_3 = diff>=1
)";

std::string sataHost(const std::string& attributes) {
    return R"({"disks": [{"number": 0, "busType": 11, "model": "Smart SATA", "serial": "SATA0001",
      "driver": {"provider": "Microsoft"}, "sectorCount": 65536, "scsiAddress": {"port": 0},
      "smartAttributes": )" + attributes + "}]}";
}

const char kSataAttributes[] = R"([{"id": 5, "threshold": 10, "raw": 7}, {"id": 12, "rawFrom": "powerCycles"},
    {"id": 9, "rawFrom": "powerOnHours"}, {"id": 241, "rawFrom": "sectorsWritten"}])";

// A folder with a host description, the configuration and every result.
class SmartEndToEnd : public testing::Test {
protected:
    void SetUp() override {
        for (const char* name : {"pwrcycle_retry_cnt", "gsd_retry_cnt", "ugsd_retry_cnt", "last_success",
                                 "last_pwr_on_hr", "monitor_period"})
            zel::WinReg::deleteValue(kKey, name);
        useHost(zeltest::routeHost());
    }
    void useHost(const std::string& description) {
        std::ofstream(dir_.file("host.json"), std::ios::binary) << description;
    }
    void config(const std::string& text, const std::string& name = "SMART.ini") {
        std::ofstream(dir_.file(name), std::ios::binary) << text;
    }
    zeltest::ChildResult run(const std::string& args) {
        return zeltest::runZelCli(args + " --logdir \"" + dir_.path() + "\" --logfile run.log", dir_.path(),
                                  {"ZELCLI_VHOST=" + dir_.file("host.json")});
    }
    std::string file(const std::string& name) const { return withoutCr(zeltest::readFile(dir_.file(name))); }
    static std::string reg(const char* name) { return zel::WinReg::readText(kKey, name).value_or("<absent>"); }
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
    auto first = run("-a smart -d 1 --out-bin first.bin --out-csv health.csv --out-ini first.ini");
    ASSERT_EQ(first.exitCode, 0u) << first.output;
    EXPECT_EQ(zeltest::readFile(dir_.file("first.bin")).size(), 512u);
    EXPECT_TRUE(contains(first.output, "===== NVMe Log Page 0x2 Data =====")) << first.output;
    const std::string ini = file("first.ini");
    EXPECT_TRUE(contains(ini, "[lid_2]\n2:1=")) << ini;
    EXPECT_TRUE(contains(ini, "55:48=0\n")) << "nothing written yet\n" << ini;
    EXPECT_EQ(reg("pwrcycle_retry_cnt"), "-1");
    EXPECT_EQ(reg("ugsd_retry_cnt"), "-1");
    const std::string firstSuccess = reg("last_success");
    EXPECT_NE(firstSuccess, "<absent>");

    auto traffic = run("-a rw -d 1 --rw write --size 1m");
    ASSERT_EQ(traffic.exitCode, 0u) << traffic.output;

    auto second = run("-a smart -d 1 --prev-smart-bin first.bin --init-smart-bin first.bin --out-bin second.bin "
                      "--out-csv health.csv --out-log table.txt");
    ASSERT_EQ(second.exitCode, 0u) << second.output;
    EXPECT_NE(reg("last_success"), firstSuccess);
    // 2048 sectors written are 3 data units (thousands, rounded up).
    std::regex marked(R"(\n- +37:30 +3 +0 +0 +Data units written\n)");
    const std::string table = file("table.txt");
    EXPECT_TRUE(std::regex_search(table, marked)) << table;
    EXPECT_TRUE(std::regex_search(table, std::regex(R"(\n  77:70 +0 +0 +0 +Power cycles\n)"))) << table;
    EXPECT_TRUE(contains(withoutCr(second.output), "Offset          Curr Value")) << "column width 16";

    auto json = smartInfo(1);
    ASSERT_TRUE(json.is_object());
    EXPECT_EQ(json["protocol"], "nvme");
    EXPECT_EQ(json["result"], "pass");
    EXPECT_EQ(json["attributes"][1]["value"], 3);
    EXPECT_EQ(json["attributes"][1]["mark"], "-");
    EXPECT_EQ(json["attributes"][2]["limit"], "diff==0") << "counters reset by the first run";

    config(std::string(kNvmeConfig) + "attr_limit_1 = val<=300\n");  // 311 K is over
    auto third = run("-a smart -d 1 --prev-smart-bin second.bin --out-csv health.csv");
    EXPECT_EQ(third.exitCode, 0x20000102u) << third.output;
    const std::string out = withoutCr(third.output);
    EXPECT_TRUE(contains(out, "SMART Value Conflicts:\n")) << out;
    EXPECT_TRUE(contains(out, "  -Offset: [2]2:1, Limit: val<=300\n")) << out;
    EXPECT_TRUE(contains(out, "  -Offset: [2]37:30, Limit: diff>=1\n")) << "no new traffic\n" << out;
    EXPECT_TRUE(contains(out, "Detect SMART limit conflict.")) << out;

    const std::string csv = file("health.csv");
    EXPECT_EQ(countOf(csv, "time,"), 1) << csv;
    EXPECT_EQ(countOf(csv, "\n"), 4) << "heading and three rows\n" << csv;
    EXPECT_TRUE(contains(csv, "\"(2)2:1 Temperature, composite\"")) << csv;
    EXPECT_TRUE(contains(csv, ",link_speed,link_width\n")) << csv;
}

TEST_F(SmartEndToEnd, SataAndBridgeDisksReadTheSmartSector) {
    const std::string bridged = R"("smartAttributes": [{"id": 5, "threshold": 10, "raw": 7},
        {"id": 12, "rawFrom": "powerCycles"}, {"id": 241, "rawFrom": "sectorsWritten"}])";
    for (int disk : {0, 4}) {
        SetUp();
        useHost(disk == 0 ? sataHost(kSataAttributes) : zeltest::routeHost(bridged, 4));
        config(kSataConfig);
        const std::string d = std::to_string(disk);
        auto first = run("-a smart -d " + d + " --out-bin s.bin --out-ini s.ini");
        ASSERT_EQ(first.exitCode, 0u) << disk << first.output;
        EXPECT_TRUE(contains(file("s.ini"), "[smart]\n5=7\n12=0\n241=0\n")) << file("s.ini");
        ASSERT_EQ(run("-a rw -d " + d + " --rw write --size 16").exitCode, 0u);
        auto second = run("-a smart -d " + d + " --prev-smart-bin s.bin --out-log t.txt");
        EXPECT_EQ(second.exitCode, 0u) << disk << second.output;
        EXPECT_TRUE(std::regex_search(file("t.txt"), std::regex(R"(\n- +0xF1\[3:0\] +16 +0 +Sectors written\n)")))
            << file("t.txt");
        EXPECT_TRUE(std::regex_search(file("t.txt"), std::regex(R"(\n  0x05 +7 +7 +Reallocated sectors\n)")));
    }
}

TEST_F(SmartEndToEnd, PowerCounterLimitsFollowTheRegistry) {
    useHost(sataHost(kSataAttributes));
    config(kSataConfig);
    ASSERT_EQ(run("-a smart -d 0 --out-bin s.bin").exitCode, 0u);
    struct Case {
        const char* type;
        const char* pwrcycle;
        const char* own;  // gsd_retry_cnt / ugsd_retry_cnt
        const char* limit;
        bool conflict;  // the disk saw no power cycle
    } cases[] = {
        {"$pwrcycle", nullptr, nullptr, "diff==0", false}, {"$pwrcycle", "0", nullptr, "diff==1", true},
        {"$pwrcycle", "2", nullptr, "diff<=3", false},     {"$gsd", nullptr, "1", "diff<=2", false},
        {"$gsd", nullptr, "-1", "diff==0", false},         {"$ugsd", "2", nullptr, "diff<=2", false},
        {"$ugsd", nullptr, nullptr, "diff==0", false},     {"$ugsd", "5", "0", "diff==1", true},
    };
    for (const Case& c : cases) {
        SetUp();
        useHost(sataHost(kSataAttributes));
        std::string text = kSataConfig;
        text.replace(text.find("$pwrcycle"), 9, c.type);
        text.erase(text.find("attr_limit_3"));  // no traffic here
        config(text);
        const char* own = std::string(c.type) == "$gsd" ? "gsd_retry_cnt" : "ugsd_retry_cnt";
        if (c.pwrcycle) zel::WinReg::writeText(kKey, "pwrcycle_retry_cnt", c.pwrcycle);
        if (c.own) zel::WinReg::writeText(kKey, own, c.own);
        auto result = run("-a smart -d 0 --prev-smart-bin s.bin");
        EXPECT_EQ(result.exitCode, c.conflict ? 0x20000102u : 0u) << c.type << " " << c.limit << result.output;
        EXPECT_EQ(smartInfo(0)["attributes"][1]["limit"], c.limit) << c.type;
        // Every run that reaches its end resets the counters and says so when it failed.
        EXPECT_EQ(reg("pwrcycle_retry_cnt"), "-1") << c.type << " " << c.limit;
        EXPECT_NE(reg("last_success"), "<absent>") << c.type << " " << c.limit;
        EXPECT_EQ(contains(result.output, "the retry counters are reset although this check failed"), c.conflict)
            << result.output;
    }
}

TEST_F(SmartEndToEnd, PowerOnHoursBracketsFollowTheHostClock) {
    const std::string attributes = R"([{"id": 9, "rawFrom": "powerOnHours"}])";
    auto hostAt = [&](int seconds) {
        std::string h = sataHost(attributes);
        h.insert(1, "\"clockOffsetSeconds\": " + std::to_string(seconds) + ", ");
        return h;
    };
    config("[global]\ntest_sections = t\n[t]\nprotocol = ata\nattr_amount = 1\nattr_id_1 = 9\n"
           "attr_desc_1 = Power-on hours\nattr_type_1 = number,$pwronhr\n");
    useHost(hostAt(0));
    ASSERT_EQ(run("-a smart -d 0 --out-bin start.bin").exitCode, 0u);
    useHost(hostAt(7800));  // 2 h 10 min later
    auto later = run("-a smart -d 0 --prev-smart-bin start.bin");
    EXPECT_EQ(later.exitCode, 0u) << later.output;
    EXPECT_EQ(smartInfo(0)["attributes"][0]["limit"], "diff>=1 && diff<=3");
    EXPECT_EQ(smartInfo(0)["attributes"][0]["current"], "2");
    useHost(hostAt(7800 + 18000));  // 5 h after that check, 7 h after the saved reading
    auto stale = run("-a smart -d 0 --prev-smart-bin start.bin");
    EXPECT_EQ(stale.exitCode, 0x20000102u) << stale.output;
    EXPECT_TRUE(contains(stale.output, "  -ID: 0x9[5:0], Limit: diff>=4 && diff<=6")) << stale.output;
}

TEST_F(SmartEndToEnd, ThresholdExceededIsReported) {
    useHost(sataHost(R"([{"id": 5, "current": 10, "threshold": 10, "raw": 90}])"));
    config("[global]\ntest_sections =\n");
    auto sata = run("-a smart -d 0");
    EXPECT_EQ(sata.exitCode, 0x20000103u) << sata.output;
    EXPECT_NE(reg("last_success"), "<absent>");
    EXPECT_EQ(reg("ugsd_retry_cnt"), "-1");
    config("[global]\ntest_sections = t\n[t]\nprotocol = ata\nskip_2cf4 = 1\nattr_amount = 0\n");
    EXPECT_EQ(run("-a smart -d 0").exitCode, 0u) << "skip_2cf4 skips the status check";

    useHost(zeltest::routeHost(R"("health": {"availableSpare": 5})", 1));
    config(kNvmeConfig);
    auto nvme = run("-a smart -d 1");
    EXPECT_EQ(nvme.exitCode, 0x20000103u) << nvme.output;
    EXPECT_TRUE(contains(nvme.output, "The device has detected a threshold exceeded condition.")) << nvme.output;
}

TEST_F(SmartEndToEnd, FailedStepsWarnAndSetTheirCodes) {
    const std::string none = "[global]\ntest_sections =\n";  // so that no limit fails first
    const struct {
        std::string config, args;
        uint32_t code;  // 0: any failure
        std::vector<const char*> lines;
    } cases[] = {
        {none, "-d 5", 0x20000100, {"WARNING  Failed to read SMART data, LID=0"}},  // a stick without SAT
        {"[global]\ntest_sections = h\n[h]\nprotocol = ata\nattr_amount = 1\n", "-d 1", 0x20000101,
         {"Assigned section is not for NVMe"}},
        {kNvmeConfig, "-d 1 --prev-smart-bin nowhere.bin --init-smart-bin nowhere.bin", 0x20000100,
         {"Failed to read prev data from SMART bin file", "Failed to read init data from SMART bin file"}},
        {kNvmeConfig, "-d 1 --out-bin \"" + dir_.file("no\\such\\folder.bin") + "\"", 0,
         {"Failed to output SMART data, LID=2, to "}},
        {none, "-d 1 --lid 0xEE", 0x20000100, {"Failed to read SMART data, LID=238"}},
        {none, "-d 1 --lid 300", 0x20000004, {"--lid is not a valid number: \"300\""}},
        {none, "--smart-config SMART.ini", 0x20000004, {"Miss some options (diskid/disksn/diskpattern)!"}},
    };
    for (const auto& c : cases) {
        config(c.config);
        auto result = run("-a smart " + c.args);
        if (c.code) {
            EXPECT_EQ(result.exitCode, c.code) << c.args << "\n" << result.output;
        } else {
            EXPECT_NE(result.exitCode, 0u) << c.args << "\n" << result.output;
        }
        for (const char* line : c.lines) EXPECT_TRUE(contains(result.output, line)) << c.args << "\n" << result.output;
    }
}

TEST_F(SmartEndToEnd, LogPagesPairWithTheirSizes) {
    config(kNvmeConfig);
    auto pages = run("-a smart -d 1 --lid 2,1 --lpsize 512,128 --out-bin health.bin,errors.bin");
    ASSERT_EQ(pages.exitCode, 0u) << pages.output;
    EXPECT_EQ(zeltest::readFile(dir_.file("health.bin")).size(), 512u);
    EXPECT_EQ(zeltest::readFile(dir_.file("errors.bin")).size(), 128u);

    config("[global]\ntest_sections = t\n[t]\nprotocol = ata\nattr_amount = 0\n");
    useHost(sataHost(kSataAttributes));
    auto sata = run("-a smart -d 0 --lid 2");
    EXPECT_EQ(sata.exitCode, 0u);
    EXPECT_TRUE(contains(sata.output, "lid and lpsize apply to NVMe disks only")) << sata.output;
}

TEST_F(SmartEndToEnd, LogPageOffsetReadsTheSameBytesOnEveryRoute) {
    // Page C0h: bytes 0..7 count up, a marker at 4096; the inbox query has
    // no offset field, so the offset must not fall back to byte 0 there.
    const std::string page = R"("nvmeLogPages": {"0xC0": {"size": 8192,
        "bytes": {"0": "00 01 02 03 04 05 06 07", "4096": "5A A5"}}})";
    auto section = [](int offset, int size, const char* selector, const char* limit) {
        return "[global]\ntest_sections = v\n[v]\nprotocol = nvme\nlog_page = 0xC0\nlog_page_offset = " +
               std::to_string(offset) + "\nlog_page_size = " + std::to_string(size) +
               "\nattr_amount = 1\nattr_id_1 = " + selector + "\nattr_limit_1 = " + limit + "\n";
    };
    const struct {
        int disk, offset, size;
        const char *selector, *limit;
        uint32_t code;
    } cases[] = {
        {1, 4, 4, "3:0", "val==0x07060504", 0},          {2, 4, 4, "3:0", "val==0x07060504", 0},
        {3, 4, 4, "3:0", "val==0x07060504", 0},          {3, 4096, 512, "1:0", "val==0xA55A", 0},
        {1, 4096, 512, "1:0", "", 0x20000100},           {2, 4096, 512, "1:0", "", 0x20000100},
    };
    for (const auto& c : cases) {
        useHost(zeltest::routeHost(page, c.disk));
        config(section(c.offset, c.size, c.selector, c.limit));
        std::remove(dir_.file("run.log").c_str());
        auto result = run("-a smart -d " + std::to_string(c.disk) + " --out-bin page.bin --debug");
        const std::string where = "disk " + std::to_string(c.disk) + " offset " + std::to_string(c.offset);
        EXPECT_EQ(result.exitCode, c.code) << where << "\n" << result.output;
        EXPECT_EQ(contains(file("run.log"), "OPC=2,"), c.code == 0) << where << "\n" << file("run.log");
        if (c.code == 0) {
            EXPECT_EQ(zeltest::readFile(dir_.file("page.bin")).size(), static_cast<size_t>(c.size)) << where;
            continue;
        }
        EXPECT_TRUE(contains(result.output, "Log page 0xC0: offset 4096 plus 512 bytes is more than the 4096 bytes "
                                            "this route reads from byte 0, not sent."))
            << where << "\n" << result.output;
    }
}

TEST_F(SmartEndToEnd, FailingLaterSectionKeepsEarlierAttributesAndSkippedOnesGoUnmarked) {
    config(R"([global]
test_sections = health,broken
[health]
protocol = nvme
log_page = 2
log_page_size = 512
attr_amount = 2
attr_id_1 = 2:1
attr_desc_1 = Temperature
attr_id_2 = 119:112
attr_desc_2 = Power cycles
attr_type_2 = number,$pwrcycle
[broken]
protocol = nvme
log_page = 0xC0
)");
    // A reading of erased flash: every byte 0xFF, so $pwrcycle skips its check.
    std::ofstream(dir_.file("erased.bin"), std::ios::binary) << std::string(512, '\xFF');
    auto result = run("-a smart -d 1 --prev-smart-bin erased.bin --out-log table.txt");
    EXPECT_EQ(result.exitCode, 0x20000101u) << result.output;
    EXPECT_TRUE(contains(result.output, "WARNING  attr_amount is not found")) << result.output;
    const std::string table = file("table.txt");
    EXPECT_TRUE(std::regex_search(table, std::regex(R"(\n- +2:1 +\d+ +\S+ +Temperature\n)"))) << table;
    EXPECT_TRUE(std::regex_search(table, std::regex(R"(\n  77:70 +0 +\S+ +Power cycles\n)"))) << table;
    EXPECT_FALSE(contains(table, "0xC0")) << "the broken section reads no page\n" << table;
    auto json = smartInfo(1);
    ASSERT_EQ(json["attributes"].size(), 2u) << json.dump();
    EXPECT_EQ(json["attributes"][0]["mark"], "-");
    EXPECT_EQ(json["attributes"][1]["mark"], "");
    EXPECT_EQ(json["result"], "pass");
}
