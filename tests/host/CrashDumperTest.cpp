#include <gtest/gtest.h>

#include <windows.h>

#include <filesystem>
#include <fstream>
#include <regex>

#include "tests/support/ChildProcess.h"
#include "tests/support/TempDir.h"
#include "tests/support/WineHost.h"

namespace {

std::string stamp(const SYSTEMTIME& t) {
    char text[32];
    std::snprintf(text, sizeof(text), "%04d%02d%02d_%02d%02d%02d", t.wYear, t.wMonth, t.wDay, t.wHour, t.wMinute,
                  t.wSecond);
    return text;
}

std::vector<std::string> dumpsIn(const std::string& folder) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        if (entry.path().extension() == ".dmp") names.push_back(entry.path().filename().string());
    return names;
}

// The crashing program runs from a fresh folder, so its dump lands there.
class CrashDumper : public testing::Test {
protected:
    void SetUp() override {
        // With a display, Wine would hold the dying process on its crash dialog.
        DWORD off = 0;
        if (zeltest::runningUnderWine())
            RegSetKeyValueA(HKEY_CURRENT_USER, "Software\\Wine\\WineDbg", "ShowCrashDialog", REG_DWORD, &off,
                            sizeof(off));
        exe_ = dir_.file("crasher.exe");
        ASSERT_TRUE(CopyFileA((zeltest::binaryFolder() + "\\zel_crash_standin.exe").c_str(), exe_.c_str(), FALSE));
    }

    zeltest::TempDir dir_;
    std::string exe_;
};

TEST_F(CrashDumper, WritesAFullMinidumpBesideTheExecutableAndPassesTheCrashOn) {
    SYSTEMTIME before, after;
    GetLocalTime(&before);
    auto run = zeltest::runProgram(exe_, "dump", dir_.path());
    GetLocalTime(&after);
    EXPECT_EQ(run.exitCode, 0xC0000005u) << "Windows' own handling ends the process";

    std::smatch line;
    ASSERT_TRUE(std::regex_search(run.output, line,
                                  std::regex(R"(\*\*\* Exception \*\*\* output minidump file to (.*)\r\n)")))
        << run.output;
    const std::string printed = line[1];
    const std::vector<std::string> dumps = dumpsIn(dir_.path());
    ASSERT_EQ(dumps.size(), 1u) << run.output;
    EXPECT_EQ(_stricmp(printed.c_str(), dir_.file(dumps[0]).c_str()), 0) << printed;

    std::smatch name;
    ASSERT_TRUE(std::regex_match(dumps[0], name, std::regex(R"(ZelCliCrashDump__(\d{8}_\d{6})\.dmp)"))) << dumps[0];
    EXPECT_GE(name[1].str(), stamp(before));
    EXPECT_LE(name[1].str(), stamp(after));

    std::ifstream dump(dir_.file(dumps[0]), std::ios::binary);
    char signature[4] = {};
    dump.read(signature, 4);
    EXPECT_EQ(std::string(signature, 4), "MDMP");
    EXPECT_GT(std::filesystem::file_size(dir_.file(dumps[0])), 1u << 20) << "full memory, not a stack-only dump";
}

TEST_F(CrashDumper, NothingWithoutTheDumper) {
    auto run = zeltest::runProgram(exe_, "", dir_.path());
    EXPECT_EQ(run.exitCode, 0xC0000005u);
    EXPECT_EQ(run.output.find("*** Exception ***"), std::string::npos) << run.output;
    EXPECT_TRUE(dumpsIn(dir_.path()).empty());
}

}  // namespace
