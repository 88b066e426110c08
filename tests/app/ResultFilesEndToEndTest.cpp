#include <gtest/gtest.h>
#include <windows.h>

#include <fstream>
#include <random>
#include <sstream>
#include <thread>
#include <vector>

#include <nlohmann/json.hpp>

#include "tests/io/VhostFixture.h"
#include "tests/support/TestHosts.h"

namespace {

using zeltest::contains;

const char kSataConfig[] = "[global]\ntest_sections = main\n[main]\nprotocol = ata\nattr_amount = 2\n"
                           "attr_id_1 = 5\nattr_desc_1 = Reallocated sectors\nattr_id_2 = 12\nattr_desc_2 = Power cycles\n";
const char kNvmeConfig[] = "[global]\ntest_sections = health\n[health]\nprotocol = nvme\nlog_page = 2\n"
                           "log_page_size = 512\nattr_amount = 1\nattr_id_1 = 119:112\nattr_desc_1 = Power cycles\n";

// Many disks make the saves long enough for kills to land in them.
constexpr int kManyDisks = 40;

int count(const std::string& text, const std::string& part) {
    int n = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++n;
    return n;
}

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> result;
    std::istringstream in(zeltest::withoutCr(text));
    for (std::string line; std::getline(in, line);) result.push_back(line);
    return result;
}

class ResultFiles : public zeltest::VhostFixture {
protected:
    void SetUp() override { useHostWithFiles("{\"portIoDriver\": true, " + zeltest::routeHost().substr(1)); }
    void useHostWithFiles(const std::string& description) {
        useHost(description);
        std::ofstream(dir_->file("sata.ini"), std::ios::binary) << kSataConfig;
        std::ofstream(dir_->file("nvme.ini"), std::ios::binary) << kNvmeConfig;
        std::ofstream(dir_->file("trace.txt"), std::ios::binary) << "$write 0 8\n$trims 16 8\n$flush\n";
    }
    std::vector<std::string> hostEnvironment() const { return {"ZELCLI_VHOST=" + dir_->file("host.json")}; }

    // Each file is absent, or whole: JSON that parses, INI lines with every
    // section of one writer complete, a BIN of one sector, CSV rows after
    // one heading.
    void expectWholeFiles(const std::string& when) {
        EXPECT_TRUE(!zeltest::fileExists(dir_->file("c.json")) || nlohmann::json::accept(file("c.json")))
            << when << "\n" << file("c.json");
        const std::string info = zeltest::withoutCr(file("info.ini"));
        for (const std::string& line : lines(info))
            EXPECT_TRUE(line.empty() || line[0] == '[' || contains(line, "=")) << when << ": " << line;
        EXPECT_EQ(count(info, "DiskId="), count(info, "OsDrive=")) << when << "\n" << info;
        const std::string heading = "[DiskList]\nCount=" + std::to_string(kManyDisks) + "\n";
        EXPECT_TRUE(info.empty() || contains(info, heading)) << when << "\n" << info;
        const std::string smart = zeltest::withoutCr(file("s.ini"));
        EXPECT_TRUE(smart.empty() || contains(smart, "[smart]\n5=7\n12=")) << when << "\n" << smart;
        const size_t bin = file("s.bin").size();
        EXPECT_TRUE(bin == 0 || bin == 512) << when << ": " << bin;
        const std::string csv = zeltest::withoutCr(file("s.csv"));
        EXPECT_TRUE(csv.empty() || (csv.back() == '\n' && count(csv, "time,") == 1)) << when << "\n" << csv;
        for (const std::string& row : lines(csv)) EXPECT_EQ(count(row, ","), 2) << when << ": " << row;
    }
};

std::string manyDisksHost() {
    std::string disks;
    for (int n = 0; n < kManyDisks; ++n) {
        disks += std::string(n ? "," : "") + R"({"number": )" + std::to_string(n) +
                 R"(, "busType": 11, "model": "Many SATA", "firmware": "FW01", "serial": "MANY)" + std::to_string(n) +
                 R"(", "sectorCount": 131072, "scsiAddress": {"port": )" + std::to_string(n) +
                 R"(}, "smartAttributes": [{"id": 5, "raw": 7}, {"id": 12, "rawFrom": "powerCycles"}]})";
    }
    return R"({"portIoDriver": true, "disks": [)" + disks + "]}";
}

const char kSmartRun[] =
    "-a smart -d 0 --smart-config sata.ini --out-bin s.bin --out-ini s.ini --out-csv s.csv --commfile c.json";
const char kInfoRun[] = "--info --init --out-ini info.ini --commfile c.json";

// Kills land at random moments of runs that save every kind of result file;
// after each, every file is whole and the next run reads them and succeeds.
TEST_F(ResultFiles, AKilledRunLeavesEveryFileWhole) {
    useHostWithFiles(manyDisksHost());
    std::mt19937 random(std::random_device{}());
    for (const char* args : {kInfoRun, kSmartRun}) {
        ASSERT_EQ(run(args).exitCode, 0u) << args;
        const ULONGLONG start = GetTickCount64();  // a second run, as warm as the killed ones
        ASSERT_EQ(runExpecting(args, 0).exitCode, 0u);
        const uint32_t span = static_cast<uint32_t>(GetTickCount64() - start) + 1;
        for (int round = 0; round < 6; ++round) {
            // Saves come late in a run; most kills aim there.
            const uint32_t delay = span * 2 / 5 + random() % (span * 3 / 5 + 1);
            // Without the INI files, a key-by-key save cut short would show.
            for (const char* name : {"info.ini", "s.ini"}) DeleteFileA(dir_->file(name).c_str());
            zeltest::runZelCliKilledAfter(std::string(args) + " --logdir \"" + dir_->path() + "\" --logfile run.log",
                                          dir_->path(), hostEnvironment(), delay);
            const std::string when = std::string(args) + " killed after " + std::to_string(delay) + " ms";
            expectWholeFiles(when);
            ASSERT_EQ(runExpecting(kSmartRun, 0).exitCode, 0u) << when;
        }
    }
}

nlohmann::json smartInfo(const nlohmann::json& document, unsigned disk) {
    for (const auto& drive : document["drive_info_list"])
        for (const auto& d : drive["disk_info_list"])
            if (d["id"] == disk && d.contains("smart_info")) return d["smart_info"];
    return nullptr;
}

// Runs started together on one --commfile each add their part to the file.
TEST_F(ResultFiles, ConcurrentRunsSharingTheCommfileKeepEveryUpdate) {
    const std::vector<std::string> runs = {
        "-a smart -d 0 --smart-config sata.ini --out-ini s0.ini --out-bin s0.bin --commfile c.json",
        "-a smart -d 1 --smart-config nvme.ini --out-ini s1.ini --out-bin s1.bin --commfile c.json",
        "-a wkld -d 2 --path trace.txt --analyze --commfile c.json"};
    for (int round = 0; round < 3; ++round) {
        DeleteFileA(dir_->file("c.json").c_str());
        std::vector<zeltest::ChildResult> results(runs.size());
        std::vector<std::thread> threads;
        for (size_t i = 0; i < runs.size(); ++i) threads.emplace_back([&, i] { results[i] = run(runs[i]); });
        for (std::thread& t : threads) t.join();
        for (size_t i = 0; i < runs.size(); ++i) ASSERT_EQ(results[i].exitCode, 0u) << runs[i] << results[i].output;
        const nlohmann::json document = nlohmann::json::parse(file("c.json"));
        EXPECT_TRUE(smartInfo(document, 0).is_object() && smartInfo(document, 1).is_object() &&
                    document.contains("workload_info"))
            << round << "\n" << document.dump(1);
    }
}

// Paths the tool could not write, and PCI ids it would cut, stop the run
// before anything is touched: no log folder, no device tool.
TEST_F(ResultFiles, TooLongPathsAndWideIdsAreRefusedFirst) {
    const std::string deep = dir_->file(std::string(120, 'a') + "\\" + std::string(120, 'b'));
    const std::string overFolder = deep + "\\" + std::string(299 - deep.size(), 'c');
    const std::pair<std::string, std::string> cases[] = {
        // The default INI name in a log folder that leaves it no room.
        {"-a cmd -d 1 --identify --logdir \"" + deep + "\"", "--out-ini gives a result file path of " +
                                                                 std::to_string(deep.size() + 18) + " characters"},
        {"-a smart -d 0 --smart-config sata.ini --out-ini \"" + overFolder + "\"",
         "--out-ini gives a result file path of 300 characters, more than 254: \"" + overFolder + "\""},
        {"--info --init --commfile \"" + overFolder + "\"", "--commfile gives a result file path of 300 characters"},
        {"--enablepci --vid 70000 --did 2", "--vid does not fit in 16 bits (0 to 65535): \"70000\""},
        {"--disablepci --vid 1 --did -1", "--did does not fit in 16 bits (0 to 65535): \"-1\""},
    };
    for (const auto& [args, line] : cases) {
        const zeltest::ChildResult refused = zeltest::runZelCli(args, dir_->path(), hostEnvironment());
        EXPECT_EQ(refused.exitCode, 0x20000004u) << args << "\n" << refused.output;
        EXPECT_TRUE(contains(refused.output, "WARNING  [ZelCli] " + line)) << line << "\n" << refused.output;
        EXPECT_EQ(count(refused.output, "WARNING"), 2) << "the refusal and the virtual host's banner\n" << refused.output;
        EXPECT_FALSE(zeltest::fileExists(dir_->file(std::string(120, 'a')))) << args;
    }
}

// A result file that cannot be written turns a run that did its work into a
// failure with a warning; a run that could write it succeeds.
TEST_F(ResultFiles, AnUnwritableResultFileFailsTheRun) {
    for (const char* target : {"--out-ini missing\\r.ini", "--out-bin missing\\r.bin"}) {
        const zeltest::ChildResult lost = run(std::string("-a cmd -d 1 --identify ") + target);
        EXPECT_NE(lost.exitCode, 0u) << target << "\n" << lost.output;
        EXPECT_TRUE(contains(lost.output, "WARNING  [ZelCli] Cannot write the result file ")) << lost.output;
    }
    runExpecting("-a cmd -d 1 --identify --out-ini r.ini", 0);
    EXPECT_TRUE(contains(file("r.ini"), "[cmd]")) << file("r.ini");
}

}  // namespace
