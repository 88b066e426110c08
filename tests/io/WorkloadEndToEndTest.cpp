#include <gtest/gtest.h>

#include <fstream>

#include <nlohmann/json.hpp>

#include "tests/io/VhostFixture.h"

namespace {

using zeltest::contains;

class WorkloadEndToEnd : public zeltest::VhostFixture {
protected:
    void SetUp() override {
        useHost(R"({"portIoDriver": true, "disks": [{"number": 2, "busType": 11, "model": "Trace SATA",
          "firmware": "F1", "serial": "TRACE-2", "sectorCount": 65536, "scsiAddress": {"port": 0}}]})");
    }
    void trace(const char* name, const char* text) { std::ofstream(dir_->file(name)) << text; }
    nlohmann::ordered_json workloadInfo() const {
        return nlohmann::ordered_json::parse(file("zelcli_actres.json")).at("workload_info");
    }
};

TEST_F(WorkloadEndToEnd, AnalysisLogsSharesAndFillsWorkloadInfo) {
    // 65536 sectors make buckets of 655; LBA 65535 lies past the hundredth one.
    trace("trace.txt", "# trace\n$write 0 8\n$write 65535 16\n$trims 655 8\n$read 10 4\n$flush\n");
    const zeltest::ChildResult analysis = run("-a wkld -d 2 --path trace.txt --analyze");
    EXPECT_EQ(analysis.exitCode, 0u) << analysis.output;
    for (const char* line : {"Total write cmds = 2 (40.0%)", "Total trim cmds = 1 (20.0%)",
                             "Total flush cmds = 1 (20.0%)", "\rParsing line # 6"})
        EXPECT_TRUE(contains(analysis.output, line)) << line << "\n" << analysis.output;

    const nlohmann::ordered_json info = workloadInfo();
    EXPECT_EQ(info["total_write_cmds"], 2u);
    EXPECT_EQ(info["total_sectors_written"], 24u);
    EXPECT_EQ(info["max_write_size"], 16u);
    EXPECT_EQ(info["total_sectors_trimmed"], 8u);
    EXPECT_EQ(info["total_lines"], 5u);
    EXPECT_EQ(info["write_cmd_dist"][0], 1u);
    EXPECT_EQ(info["write_cmd_dist"][99], 1u);
    EXPECT_EQ(info["trim_cmd_dist"][1], 1u);

    trace("bad.txt", "$write 0 8\n$trim 0 8\n");
    const zeltest::ChildResult bad = run("-a wkld -d 2 --path bad.txt --analyze --commfile bad.json");
    EXPECT_EQ(bad.exitCode, 0x20000140u) << bad.output;
    EXPECT_TRUE(contains(bad.output, "Failed to parse workloads, err line # = 2")) << bad.output;
    EXPECT_FALSE(zeltest::fileExists(dir_->file("bad.json")));
}

// Replay writes 0xAA 0x55 words and trims on the disk, wrapping a command
// that would pass the end, and reports what it executed.
TEST_F(WorkloadEndToEnd, ReplayWritesTrimsAndWraps) {
    trace("trace.txt", "$write 0 8\n$write 65535 8\n$trims 16 8\n$flush\n");
    const zeltest::ChildResult replay = run("-a wkld -d 2 --path trace.txt");
    ASSERT_EQ(replay.exitCode, 0u) << replay.output;
    EXPECT_TRUE(contains(replay.output, "\rExecuting line # 4")) << replay.output;
    EXPECT_EQ(workloadInfo()["total_sectors_written"], 16u);
    EXPECT_EQ(workloadInfo()["total_sectors_trimmed"], 8u);

    std::string image;
    for (int i = 0; i < 256; ++i) image += "\xAA\x55";
    std::ofstream(dir_->file("replayed.bin"), std::ios::binary) << image;
    auto check = [&](const std::string& args) { return run("-a rw -d 2 --rw read --in-bin replayed.bin " + args).exitCode; };
    EXPECT_EQ(check("--size 8"), 0u) << "the first write";
    EXPECT_EQ(check("--start 7 --size 8"), 0u) << "65535 + 8 passes the end: moved to 65535 mod (65536 - 8)";
    EXPECT_NE(check("--start 65528 --size 8"), 0u) << "nothing written at the end";
}

}  // namespace
