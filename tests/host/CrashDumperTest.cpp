#include <gtest/gtest.h>

#include <windows.h>

#include <filesystem>
#include <fstream>
#include <regex>

#include "tests/support/ChildProcess.h"
#include "tests/support/TempDir.h"

namespace {

std::string stamp(const SYSTEMTIME& t) {
    char text[32];
    std::snprintf(text, sizeof(text), "%04d%02d%02d_%02d%02d%02d", t.wYear, t.wMonth, t.wDay, t.wHour, t.wMinute,
                  t.wSecond);
    return text;
}

const std::regex kAnnounced(R"(\*\*\* Exception \*\*\* output minidump file to (.*)\r\n)");

std::vector<std::string> dumpsIn(const std::string& folder) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        if (entry.path().extension() == ".dmp") names.push_back(entry.path().filename().string());
    return names;
}

// The one dump in the folder, which the output announced by its full path.
std::string announcedDump(const std::string& output, const std::string& folder) {
    std::smatch line;
    const std::vector<std::string> dumps = dumpsIn(folder);
    EXPECT_TRUE(std::regex_search(output, line, kAnnounced)) << output;
    EXPECT_EQ(dumps.size(), 1u) << output;
    if (line.empty() || dumps.size() != 1) return "";
    EXPECT_EQ(_stricmp(line[1].str().c_str(), (std::filesystem::path(folder) / dumps[0]).string().c_str()), 0)
        << line[1];
    return dumps[0];
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

    // Starts a copy of ZelCli.exe in a folder, reading from a disk that
    // answers after a minute, and crashes it with a thread started at an
    // unmapped address once its log has begun. Its output goes to out.txt.
    // Wine writes a full dump of a running ZelCli.exe too slowly for a test,
    // so once the dumper has announced its file the run is ended; answers
    // the exit code of a run that ended by itself, else 0.
    static uint32_t crashZelCli(const zeltest::TempDir& dir, const std::string& options) {
        const std::string zelcli = dir.file("ZelCli.exe");
        EXPECT_TRUE(CopyFileA((zeltest::binaryFolder() + "\\ZelCli.exe").c_str(), zelcli.c_str(), FALSE));
        std::ofstream(dir.file("host.json"), std::ios::binary)
            << R"({"disks": [{"number": 0, "busType": 11, "model": "Slow SSD", "firmware": "F1", "serial": "S1",
                 "sectorCount": 64, "scsiAddress": {"port": 0}, "latencyMicros": 60000000}]})";
        SetEnvironmentVariableA("ZELCLI_VHOST", dir.file("host.json").c_str());
        SECURITY_ATTRIBUTES inherit{sizeof(inherit), nullptr, TRUE};
        HANDLE out = CreateFileA(dir.file("out.txt").c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inherit, CREATE_ALWAYS,
                                 FILE_ATTRIBUTE_NORMAL, nullptr);
        STARTUPINFOA startup{sizeof(startup)};
        startup.dwFlags = STARTF_USESTDHANDLES;
        startup.hStdOutput = startup.hStdError = out;
        PROCESS_INFORMATION process{};
        std::string commandLine = "\"" + zelcli + "\" -a rw -d 0 --rw read --size 8 --logfile run.log " + options;
        const BOOL started = CreateProcessA(nullptr, commandLine.data(), nullptr, nullptr, TRUE, 0, nullptr,
                                           dir.path().c_str(), &startup, &process);
        SetEnvironmentVariableA("ZELCLI_VHOST", nullptr);
        CloseHandle(out);
        if (!started) return 0;
        for (int i = 0; i < 200 && zeltest::readFile(dir.file("run.log")).empty(); ++i) Sleep(50);
        HANDLE thread = CreateRemoteThread(process.hProcess, nullptr, 0,
                                           reinterpret_cast<LPTHREAD_START_ROUTINE>(uintptr_t{0x10}), nullptr, 0,
                                           nullptr);
        if (thread) CloseHandle(thread);
        for (int i = 0; i < 300 && WaitForSingleObject(process.hProcess, 50) == WAIT_TIMEOUT; ++i)
            if (zeltest::readFile(dir.file("out.txt")).find("*** Exception ***") != std::string::npos) break;
        if (WaitForSingleObject(process.hProcess, 0) == WAIT_TIMEOUT) TerminateProcess(process.hProcess, 0);
        WaitForSingleObject(process.hProcess, 10000);
        DWORD code = 0;
        GetExitCodeProcess(process.hProcess, &code);
        CloseHandle(process.hThread);
        CloseHandle(process.hProcess);
        return code;
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

    const std::string dump = announcedDump(run.output, dir_.path());
    std::smatch name;
    ASSERT_TRUE(std::regex_match(dump, name, std::regex(R"(ZelCliCrashDump__(\d{8}_\d{6})\.dmp)"))) << dump;
    EXPECT_GE(name[1].str(), stamp(before));
    EXPECT_LE(name[1].str(), stamp(after));

    const std::string bytes = zeltest::readFile(dir_.file(dump));
    EXPECT_EQ(bytes.substr(0, 4), "MDMP");
    EXPECT_GT(bytes.size(), 1u << 20) << "full memory, not a stack-only dump";
}

// ZelCli.exe installs the dumper in debug mode only.
TEST_F(CrashDumper, ZelCliAnnouncesItsDumpInDebugModeOnly) {
    crashZelCli(dir_, "--debug");
    announcedDump(zeltest::readFile(dir_.file("out.txt")), dir_.path());
    zeltest::TempDir quiet;
    EXPECT_EQ(crashZelCli(quiet, ""), 0xC0000005u) << "without --debug Windows' handling ends the run at once";
    EXPECT_EQ(zeltest::readFile(quiet.file("out.txt")).find("*** Exception ***"), std::string::npos);
    EXPECT_TRUE(dumpsIn(quiet.path()).empty());
}

}  // namespace
