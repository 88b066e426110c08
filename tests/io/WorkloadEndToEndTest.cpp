#include <gtest/gtest.h>

#include <fstream>
#include <vector>

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
    runExpecting("-a wkld -d 2 --path trace.txt --analyze", 0u,
                 {"Total write cmds = 2 (40.0%)", "Total trim cmds = 1 (20.0%)", "Total flush cmds = 1 (20.0%)",
                  "\rParsing line # 6"});

    nlohmann::ordered_json info = workloadInfo();
    std::vector<uint32_t> writes(100), trims(100);
    writes[0] = writes[99] = trims[1] = 1;
    EXPECT_EQ(info["write_cmd_dist"].get<std::vector<uint32_t>>(), writes);
    EXPECT_EQ(info["trim_cmd_dist"].get<std::vector<uint32_t>>(), trims);
    info.erase("write_cmd_dist");
    info.erase("trim_cmd_dist");
    EXPECT_EQ(info.dump(), R"({"total_write_cmds":2,"total_sectors_written":24,"max_write_size":16,"min_write_size":0,)"
                           R"("total_trim_cmds":1,"total_sectors_trimmed":8,"max_trim_size":8,"min_trim_size":0,)"
                           R"("total_flush_cmds":1,"total_lines":5})");

    trace("bad.txt", "$write 0 8\n# the file's lines count comments too\n$trim 0 8\n");
    const zeltest::ChildResult bad = runExpecting("-a wkld -d 2 --path bad.txt --analyze --commfile bad.json",
                                                  0x20000140u, {"WARNING  Failed to parse workloads, err line # = 3"});
    EXPECT_FALSE(contains(bad.output, "Total write cmds")) << "nothing counted";
    EXPECT_FALSE(zeltest::fileExists(dir_->file("bad.json")));
}

// Replay writes 0xAA 0x55 words and trims on the disk, wrapping a command
// that would pass the end, and reports what it executed.
TEST_F(WorkloadEndToEnd, ReplayWritesTrimsAndWraps) {
    trace("trace.txt", "$write 0 8\n$write 65535 8\n$trims 16 8\n$flush\n");
    runExpecting("-a wkld -d 2 --path trace.txt", 0u, {"\rExecuting line # 4"});
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
