#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <fstream>

#include "tests/support/ChildProcess.h"
#include "tests/support/TempDir.h"

namespace {

using zeltest::contains;
using zeltest::withoutCr;

// Kind-22 disks: 0 bridges to its NVMe drive, 1 is a bridge without the
// tunnel, 2 a drive whose spare fell below its threshold.
const char kHost[] = R"({"disks": [
  {"number": 0, "busType": 7, "vendor": "JMicron", "model": "Generic USB", "serial": "JM0", "sectorCount": 65536,
   "nvmeLogPages": {"0xC0": {"size": 12288, "bytes": {"4100": "5A A5", "8200": "34 12"}}}},
  {"number": 1, "busType": 7, "vendor": "JMicron", "model": "Generic USB", "serial": "JM1", "sectorCount": 65536,
   "nvmeBridge": false},
  {"number": 2, "busType": 7, "vendor": "JMicron", "model": "Generic USB", "serial": "JM2", "sectorCount": 65536,
   "health": {"availableSpare": 5, "availableSpareThreshold": 10}}]})";

// Data units written at 48..63 of the health page; 8192 bytes of C0h from
// offset 4096 take two tunnel transfers.
const char kConfig[] = R"([global]
test_sections = health,vendor
[health]
protocol = nvme
log_page = 2
log_page_size = 512
attr_amount = 1
attr_id_1 = 55:48
[vendor]
protocol = nvme
log_page = 0xC0
log_page_size = 8192
log_page_offset = 4096
attr_amount = 2
attr_id_1 = 5:4
attr_id_2 = 4105:4104
)";

class JMicronSmartEndToEnd : public testing::Test {
protected:
    void SetUp() override {
        std::ofstream(dir_.file("host.json"), std::ios::binary) << kHost;
        std::ofstream(dir_.file("SMART.ini"), std::ios::binary) << kConfig;
    }
    zeltest::ChildResult run(const std::string& args) {
        return zeltest::runZelCli(args + " --logdir \"" + dir_.path() + "\" --logfile run.log", dir_.path(),
                                  {"ZELCLI_VHOST=" + dir_.file("host.json")});
    }
    std::string file(const std::string& name) const { return withoutCr(zeltest::readFile(dir_.file(name))); }

    zeltest::TempDir dir_;
};

}  // namespace

TEST_F(JMicronSmartEndToEnd, PagesThroughTheTunnelFollowWritesAndOffsets) {
    auto first = run("-a smart -d 0 --out-ini first.ini");
    ASSERT_EQ(first.exitCode, 0u) << first.output;
    EXPECT_TRUE(contains(file("first.ini"), "[lid_2]\n55:48=0\n")) << file("first.ini");
    EXPECT_TRUE(contains(file("first.ini"), "[lid_192]\n5:4=42330\n4105:4104=4660\n")) << file("first.ini");

    ASSERT_EQ(run("-a rw -d 0 --rw write --size 1m").exitCode, 0u);
    auto second = run("-a smart -d 0 --out-ini second.ini");
    ASSERT_EQ(second.exitCode, 0u) << second.output;
    EXPECT_TRUE(contains(file("second.ini"), "55:48=3\n")) << "2048 sectors are 3 data units\n" << file("second.ini");
}

TEST_F(JMicronSmartEndToEnd, BridgeWithoutTheTunnelAndSpareBelowThreshold) {
    auto refused = run("-a smart -d 1 --lid 2 --debug");
    EXPECT_EQ(refused.exitCode, 0x20000100u) << refused.output;
    EXPECT_TRUE(contains(refused.output, "Failed to read SMART data, LID=2")) << refused.output;
    EXPECT_TRUE(contains(file("run.log"), "command phase failed: SCSI status 2, sense key 5h, ASC 20h"))
        << file("run.log");

    auto worn = run("-a smart -d 2 --lid 2");
    EXPECT_EQ(worn.exitCode, 0x20000103u) << worn.output;
}
