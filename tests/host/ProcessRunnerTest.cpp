// The runner and the wrappers' time-out lines against real children: the
// stand-in tools, told through their control file what to answer.
#include <gtest/gtest.h>

#include <windows.h>
#include <shellapi.h>

#include <filesystem>
#include <functional>

#include "core/ErrorCodes.h"
#include "host/CommandLineQuoting.h"
#include "host/DevconWrapper.h"
#include "host/DiskpartWrapper.h"
#include "host/ProcessRunner.h"
#include "host/ProcessTermination.h"
#include "host/PssuspendWrapper.h"
#include "tests/support/InstalledHost.h"
#include "tests/support/LogCapture.h"
#include "tests/support/StandInControl.h"

namespace {

using zeltest::StandInControl;

class ProcessRunnerTest : public testing::Test {
protected:
    void SetUp() override { SetEnvironmentVariableA("ZELCLI_TOOLS_CONTROL", control_.path().c_str()); }
    void TearDown() override {
        SetEnvironmentVariableA("ZELCLI_TOOLS_CONTROL", nullptr);
        // Nothing a test left running survives it.
        for (const char* name : {"devcon_amd64.exe", "pssuspend64.exe", "diskpart.exe"})
            zel::terminateChildProcesses(name);
    }
    static std::string tool() {
        return zel::quotedArgument(zeltest::binaryFolder() + "\\vhost-tools\\devcon_amd64.exe");
    }
    static DWORD exitCodeOf(DWORD pid) {
        HANDLE process = OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION | SYNCHRONIZE, FALSE, pid);
        if (!process) return 0xFFFFFFFF;
        WaitForSingleObject(process, 100);
        DWORD code = 0;
        GetExitCodeProcess(process, &code);
        CloseHandle(process);
        return code;
    }

    StandInControl control_;
};

// Output longer than one read and the exit code are checked through
// ZelCli.exe (tests/app/HostToolsEndToEndTest.cpp), the wait without a
// time-out with a scripted child (ChildWaitTest.cpp). The time-out is
// judged by the runner alone: no bounds on the time taken here.
TEST_F(ProcessRunnerTest, TimeOutLeavesTheChildRunningUntilTheHelperEndsIt) {
    control_.answer({{"exit", 0}, {"delayMs", 20000}});
    zel::ProcessRunner runner;
    zel::RunResult result;
    EXPECT_FALSE(runner.run({tool() + " slow", 0.3, true}, &result));
    EXPECT_EQ(result.code, 0x20000018u);
    EXPECT_EQ(exitCodeOf(runner.processId()), STILL_ACTIVE);
    EXPECT_EQ(zel::terminateChildProcesses("DEVCON_AMD64.EXE"), 1);
    EXPECT_EQ(exitCodeOf(runner.processId()), 0x20000018u);
    EXPECT_EQ(zel::terminateChildProcesses("devcon_amd64.exe"), 0) << "only what is left";
}

TEST_F(ProcessRunnerTest, StartFailureSetsTheLastError) {
    const zel::RunRequest missing{"\"C:\\no\\such\\tool.exe\" x", 0, true};
    zel::ProcessRunner runner;
    EXPECT_FALSE(runner.start(missing));
    EXPECT_NE(zel::lastError(), 0u);
    zel::RunResult result;
    EXPECT_FALSE(runner.run(missing, &result));
    EXPECT_EQ(result.code, zel::lastError());
    EXPECT_EQ(zel::runAsync("\"C:\\no\\such\\tool.exe\"", "", 0, nullptr), static_cast<int>(zel::lastError()));
}

// Without a time-out the exit code is the answer (output longer than one
// read is checked through ZelCli.exe); with one, a child that ends in time
// answers 0 whatever its code, and one that does not 258.
TEST_F(ProcessRunnerTest, RunAsyncAnswersTheExitCodeOnlyWithoutTimeOut) {
    control_.answer({{"verb", "slow"}, {"exit", 0}, {"delayMs", 20000}});
    control_.answer({{"exit", -1}, {"output", "first\r\n"}});
    std::string output = "before|";
    EXPECT_EQ(zel::runAsync(tool(), "a b", 0, &output), -1);
    EXPECT_EQ(output, "before|first\r\n");
    EXPECT_EQ(control_.calls().at(0)["commandLine"], tool() + " a b");
    output = "untouched";
    EXPECT_EQ(zel::runAsync(tool(), "", 10, &output), 0) << "a child that failed quickly";
    EXPECT_EQ(output, "untouched");
    EXPECT_EQ(control_.calls().at(1)["commandLine"], tool()) << "no blank without arguments";
    zeltest::LogCapture log;
    EXPECT_EQ(zel::runAsync(tool(), "slow", 0.3, nullptr), 258);
    EXPECT_TRUE(log.contains("WARNING  Run " + tool() + ", exceed timeout 0.30\n")) << log.text();
    EXPECT_EQ(zel::terminateChildProcesses("devcon_amd64.exe"), 1) << "left running";
}

// The wrappers' time-out lines need a time-out shorter than any the
// global commands pass.
class WrapperTimeOut : public ProcessRunnerTest {
protected:
    zeltest::InstalledHost host_{R"({"toolsFolder": ")" + StandInControl::toolsFolder() + R"(", "disks": []})"};
};

// Each wrapper ends its tool, pssuspend excepted, and says so.
TEST_F(WrapperTimeOut, EachWrapperReportsTheTimeOut) {
    control_.answer({{"exit", 0}, {"delayMs", 20000}});
    zeltest::LogCapture log;
    zeltest::TempDir work;
    const std::filesystem::path previous = std::filesystem::current_path();
    std::filesystem::current_path(work.path());
    const char* device = "PCI\\VEN_0001&DEV_0002";
    const std::pair<std::function<bool()>, const char*> cases[] = {
        {[&] { return zel::DevconWrapper().enable(device, 0.3); }, "INFO     enable device time exceeds timeout: 0.30\n"},
        {[] { return zel::DevconWrapper().rescan(0.25); }, "INFO     rescan time exceeds timeout: 0.25\n"},
        {[&] { return zel::DevconWrapper().disable(device, 0.3); }, "INFO     disable device time exceeds timeout: 0.30\n"},
        {[] { return zel::PssuspendWrapper().suspend("app.exe", 0.3); }, "INFO     suspend process exceeds timeout: 0.30\n"},
        {[] { return zel::PssuspendWrapper().resume("app.exe", 0.3); }, "INFO     resume process exceeds timeout: 0.30\n"},
        {[] { return zel::DiskpartWrapper().clean(3, 0.3); }, "WARNING  clean disk error code: 536870936\n"},
        {[] { return zel::DiskpartWrapper().format(3, 'F', 0.3); }, "WARNING  format disk error code: 0x20000018\n"},
    };
    for (const auto& [call, line] : cases) {
        EXPECT_FALSE(call()) << line;
        EXPECT_TRUE(log.contains(line)) << line << log.text();
    }
    std::filesystem::current_path(previous);
    EXPECT_FALSE(zeltest::fileExists(work.file("diskpart_clean.txt"))) << "deleted after a time-out too";
    EXPECT_EQ(zel::terminateChildProcesses("devcon_amd64.exe"), 0) << "already ended by the wrapper";
    EXPECT_EQ(zel::terminateChildProcesses("pssuspend64.exe"), 2) << "pssuspend is left running";
}

// CommandLineToArgvW reads our quoting of hostile values back, independently of it.
TEST(CommandLineQuotingOnWindows, TheWindowsParserReadsBackEachValue) {
    for (const std::string value : {"a\" & calc & \"", "x\\\" /r", "C:\\drivers\\", "", "two\\\\", "\"", "a b\tc",
                                     "mid\\dle", "PCI\\VEN_1F2E&DEV_A809"}) {
        const std::string line = "tool.exe " + zel::quotedArgument(value) + " next";
        std::wstring wide(line.begin(), line.end());
        int count = 0;
        wchar_t** argv = CommandLineToArgvW(wide.c_str(), &count);
        ASSERT_EQ(count, 3) << line;
        EXPECT_EQ(std::wstring(argv[1]), std::wstring(value.begin(), value.end())) << line;
        EXPECT_EQ(std::wstring(argv[2]), L"next");
        LocalFree(argv);
    }
}

}  // namespace
