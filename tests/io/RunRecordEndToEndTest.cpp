#include <gtest/gtest.h>
#include <windows.h>

#include <fstream>
#include <functional>

#include <nlohmann/json.hpp>

#include "tests/io/VhostFixture.h"
#include "tests/support/RunRecordCheck.h"

namespace {

using zeltest::contains;
using zeltest::ioHost;
using Json = nlohmann::json;

class RunRecordEndToEnd : public zeltest::VhostFixture {
protected:
    // Runs ZelCli with --out_json, checks the exit code and the record
    // against the schema, and returns the record.
    Json recordOf(const std::string& args, uint32_t code) {
        const zeltest::ChildResult result = runExpecting(args + " --out_json rec.json", code);
        const std::string path = dir_->file("rec.json");
        const zeltest::RecordVerdict check = zeltest::validateRunRecord(path);
        EXPECT_EQ(check.code, 0) << args << "\n" << check.lines;
        const Json record = Json::parse(file("rec.json"), nullptr, false);
        EXPECT_EQ(record.value("exit_code", 0xFFFFFFFFu), code) << args << "\n" << result.output;
        return record;
    }
};

// An NVMe DUT (disk 1) behind the PCIe power board on disk 3.
std::string powerHost(const std::string& dutExtra = "") {
    return R"({"disks": [
  {"number": 1, "busType": 17, "model": "Pwr NVMe", "serial": "PNVME1", "sectorCount": 8192,
   "driver": {"provider": "Microsoft"}, "scsiAddress": {"port": 1}, "pci": {"vendorId": "0x1AB2"})" + dutExtra + R"(},
  {"number": 3, "busType": 7, "model": "HXPWR410 Virtual", "firmware": "2.10", "serial": "PB3", "sectorCount": 64,
   "scsiAddress": {"port": 3}}],
 "powerSwitches": [{"kind": "PcieHX410V2", "disk": 3, "powers": [1], "millivolts": 4001, "milliamps": 50}]})";
}

// The composite temperature (311 K on the virtual drive) over its limit;
// data units written without one.
const char kSmartConfig[] =
    "[global]\ntest_sections = health\n[health]\nprotocol = nvme\nlog_page = 2\nlog_page_size = 512\n"
    "attr_amount = 2\nattr_id_1 = 2:1\nattr_desc_1 = Temperature\nattr_limit_1 = val<=300\n"
    "attr_id_2 = 55:48\nattr_desc_2 = Data units written\n";

uint64_t histogramCount(const Json& worker) {
    uint64_t count = 0;
    for (const Json& bucket : worker["latency"]["histogram"]) count += bucket["count"].get<uint64_t>();
    return count;
}

}  // namespace

// Successes and failures of rw, cmd and info each leave a record that the
// schema accepts and that says what happened.
TEST_F(RunRecordEndToEnd, EveryRunLeavesAValidRecordOfWhatItDid) {
    const std::string corrupt = ioHost(R"(, "faults": [{"kind": "corrupt", "lba": 100, "count": 8}])");
    const std::string vanish = ioHost(R"(, "faults": [{"kind": "vanish", "after": 3}])");
    struct Case {
        const char* what;
        std::string host;
        const char* args;
        uint32_t code;
        std::function<void(const Json&)> check;
        bool writeImageFirst = false;
    } cases[] = {
        {"seq write at depth", ioHost(), "-a rw -d 1 --rw write --size 2048 --bs 4k --qd 4", 0,
         [](const Json& r) {
             const Json& w = r["rw"]["workers"][0];
             EXPECT_EQ(r["command"]["name"], "rw");
             EXPECT_EQ(r["disk"]["serial"], "DUT-1");
             EXPECT_EQ(w["ios"], 256) << "I/Os, not sectors";
             EXPECT_EQ(w["bytes"], 2048 * 512);
             EXPECT_EQ(w["block_bytes"], 4096);
             EXPECT_EQ(w["queue_depth"], 4);
             EXPECT_EQ(histogramCount(w), 256u);
             EXPECT_TRUE(w["miscompare_lba"].is_null());
         }},
        {"miscompare", corrupt, "-a rw -d 1 --rw read --size 1024 --in-bin fixed.bin", 0x20000130,
         [this](const Json& r) {
             const Json& w = r["rw"]["workers"][0];
             EXPECT_EQ(w["miscompare_lba"], 100);
             EXPECT_FALSE(w["result"]["passed"]);
             ASSERT_EQ(w["dump_files"].size(), 2u);
             EXPECT_TRUE(zeltest::fileExists(w["dump_files"][0].get<std::string>()));
             EXPECT_TRUE(contains(r["exit_text"].get<std::string>(), "0x20000130"));
         },
         true},
        {"device gone", vanish, "-a rw -d 1 --rw read --size 2048 --bs 4k --qd 8", ERROR_DEVICE_NOT_CONNECTED,
         [](const Json& r) { EXPECT_EQ(r["rw"]["workers"][0]["result"]["code"], ERROR_DEVICE_NOT_CONNECTED); }},
        {"ATA identify", ioHost(), "-a cmd -d 2 --command 0xEC --io in --datalen 512 --out-bin id.bin", 0,
         [](const Json& r) {
             EXPECT_EQ(r["cmd"]["request"]["command"], "0xEC");
             EXPECT_EQ(r["cmd"]["answer"]["data_length"], "512");
             EXPECT_TRUE(r["cmd"]["sent"]);
         }},
        {"refused command", ioHost(), "-a cmd -d 0 --command 0xB4 --48bit --feature 0x14", 0x20000005,
         [](const Json& r) {
             EXPECT_FALSE(r["cmd"]["sent"]);
             EXPECT_TRUE(contains(r["cmd"]["problem"].get<std::string>(), "is the OS drive"));
         }},
        {"power cycle", powerHost(), "-a pwr -d 1 --pwrid 3 --pwrctrl ugsd --pwroffto 10 --pwronto 10", 0,
         [](const Json& r) {
             const Json& p = r["pwr"];
             EXPECT_EQ(p["board"]["disk_number"], 3);
             EXPECT_EQ(p["attempts"], 1);
             EXPECT_FALSE(p["graceful"]);
             EXPECT_FALSE(p["timeline"]["gone_after_s"].is_null());
             EXPECT_FALSE(p["timeline"]["back_after_s"].is_null());
             EXPECT_EQ(p["counters_written"]["pwrcycle_retry"], 0);
         }},
        {"DUT not back", powerHost(R"(, "powerOnDelayMs": 60000)"),
         "-a pwr -d 1 --pwrid 3 --pwrctrl ugsd --pwroffto 5 --pwronto 0.5 --pwrcycle-retrycnt 1", 0x20000112,
         [](const Json& r) {
             const Json& p = r["pwr"];
             EXPECT_EQ(p["attempts"], 2);
             EXPECT_TRUE(p["timeline"]["back_after_s"].is_null());
             EXPECT_TRUE(p["counters_written"].is_null()) << "no counters for a DUT that is gone";
         }},
        {"limit conflict", ioHost(), "-a smart -d 1", 0x20000102,
         [](const Json& r) {
             const Json& v = r["smart"]["verdicts"];
             ASSERT_EQ(v.size(), 2u);
             EXPECT_TRUE(v[0]["conflict"]);
             EXPECT_FALSE(v[1]["conflict"]);
             EXPECT_EQ(r["smart"]["smart_info"]["result"], "conflict");
         }},
        {"workload analysis", ioHost(), "-a wkld -d 2 --path trace.txt --analyze", 0,
         [](const Json& r) { EXPECT_EQ(r["wkld"]["workload_info"]["total_write_cmds"], 2); }},
        {"info", ioHost(), "--info", 0,
         [](const Json& r) {
             EXPECT_EQ(r["command"]["kind"], "global");
             ASSERT_EQ(r["info"]["disks"].size(), 4u);
             EXPECT_TRUE(r["info"]["disks"][0]["os_drive"]);
             EXPECT_EQ(r["info"]["disks"][1]["pcie"]["vendor_id"], "0x1AB2");
         }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        useHost(c.host);
        std::ofstream(dir_->file("SMART.ini"), std::ios::binary) << kSmartConfig;
        std::ofstream(dir_->file("trace.txt"), std::ios::binary) << "$write 0 8\n$write 100 16\n$flush\n";
        if (c.writeImageFirst) {
            ASSERT_EQ(run("-a rw -d 1 --rw write --size 1024 --out-bin fixed.bin").exitCode, 0u);
        }
        c.check(recordOf(c.args, c.code));
    }
}

// The validator really checks: a record with a wrong type is refused, and
// a relative --out_json lands in the log folder.
TEST_F(RunRecordEndToEnd, ABrokenRecordFailsValidationAndRelativePathsGoToTheLogFolder) {
    useHost(ioHost());
    const std::string logs = dir_->file("logs");
    ASSERT_EQ(zeltest::runZelCli("-a rw -d 2 --rw read --size 64 --out_json rec.json --logdir \"" + logs + "\"",
                                 dir_->path(), {"ZELCLI_VHOST=" + dir_->file("host.json")})
                  .exitCode,
              0u);
    const std::string path = logs + "\\rec.json";
    ASSERT_TRUE(zeltest::fileExists(path));
    EXPECT_EQ(zeltest::validateRunRecord(path).code, 0);
    Json record = Json::parse(zeltest::readFile(path));
    record["rw"]["workers"][0]["ios"] = "64";
    std::ofstream(path, std::ios::binary | std::ios::trunc) << record.dump();
    const zeltest::RecordVerdict broken = zeltest::validateRunRecord(path);
    EXPECT_EQ(broken.code, 1) << broken.lines;
    EXPECT_TRUE(contains(broken.lines, "rw/workers/0/ios")) << broken.lines;
}
