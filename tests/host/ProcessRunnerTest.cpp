// The runner and the wrappers' time-out lines against real children: the
// stand-in tools, told through their control file what to answer.
#include <gtest/gtest.h>

#include <windows.h>
#include <shellapi.h>

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
        zel::terminateChildProcesses("devcon_amd64.exe");
        zel::terminateChildProcesses("pssuspend64.exe");
        zel::terminateChildProcesses("diskpart.exe");
    }
    static std::string devcon(const std::string& args) {
        return zel::quotedArgument(StandInControl::tool("devcon_amd64.exe")) + " " + args;
    }
    static zel::RunRequest request(const std::string& args, double timeout = 0) {
        zel::RunRequest r;
        r.commandLine = devcon(args);
        r.timeoutSeconds = timeout;
        r.captureOutput = true;
        return r;
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
// time-out with a scripted child (ChildWaitTest.cpp).
TEST_F(ProcessRunnerTest, TimeOutLeavesTheChildRunningUntilTheHelperEndsIt) {
    control_.answer({{"exit", 0}, {"delayMs", 20000}});
    zel::ProcessRunner runner;
    zel::RunResult result;
    EXPECT_FALSE(runner.run(request("slow", 0.3), &result));
    EXPECT_EQ(result.code, 0x20000018u);
    EXPECT_GT(result.elapsedSeconds, 0.3);
    EXPECT_LT(result.elapsedSeconds, 5.0);
    EXPECT_EQ(exitCodeOf(runner.processId()), STILL_ACTIVE);
    EXPECT_EQ(zel::terminateChildProcesses("DEVCON_AMD64.EXE"), 1);
    EXPECT_EQ(exitCodeOf(runner.processId()), 0x20000018u);
    EXPECT_EQ(zel::terminateChildProcesses("devcon_amd64.exe"), 0) << "only what is left";
}

TEST_F(ProcessRunnerTest, StartFailureSetsTheLastError) {
    zel::RunRequest missing;
    missing.commandLine = "\"C:\\no\\such\\tool.exe\" x";
    missing.captureOutput = true;
    zel::ProcessRunner runner;
    EXPECT_FALSE(runner.start(missing));
    EXPECT_NE(zel::lastError(), 0u);
    zel::RunResult result;
    EXPECT_FALSE(runner.run(missing, &result));
    EXPECT_EQ(result.code, zel::lastError());
    EXPECT_EQ(zel::runAsync("\"C:\\no\\such\\tool.exe\"", "", 0, nullptr), static_cast<int>(zel::lastError()));
}

TEST_F(ProcessRunnerTest, RunAsyncWithoutTimeOutCapturesAndReturnsTheExitCode) {
    control_.answer({{"exit", -1}, {"output", "first\r\n"}, {"outputBytes", 9000}});
    std::string output = "before|";
    const std::string tool = zel::quotedArgument(StandInControl::tool("devcon_amd64.exe"));
    EXPECT_EQ(zel::runAsync(tool, "a b", 0, &output), -1);
    EXPECT_EQ(output, "before|first\r\n" + zeltest::standInFiller(9000));
    EXPECT_EQ(control_.args(0), (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(control_.calls().at(0)["commandLine"], tool + " a b");
    zel::runAsync(tool, "", 0, nullptr);
    EXPECT_EQ(control_.calls().at(1)["commandLine"], tool) << "no blank without arguments";
}

TEST_F(ProcessRunnerTest, RunAsyncWithTimeOutIgnoresTheExitCodeAndAnswers258WhenLate) {
    const std::string tool = zel::quotedArgument(StandInControl::tool("devcon_amd64.exe"));
    control_.answer({{"verb", "quick"}, {"exit", 5}});
    control_.answer({{"verb", "slow"}, {"exit", 0}, {"delayMs", 20000}});
    std::string output = "untouched";
    EXPECT_EQ(zel::runAsync(tool, "quick", 10, &output), 0) << "a child that failed quickly";
    EXPECT_EQ(output, "untouched");
    zeltest::LogCapture log;
    EXPECT_EQ(zel::runAsync(tool, "slow", 0.3, nullptr), 258);
    EXPECT_TRUE(log.contains("WARNING  Run " + tool + ", exceed timeout 0.30\n")) << log.text();
    EXPECT_EQ(zel::terminateChildProcesses("devcon_amd64.exe"), 1) << "left running";
}

// The wrappers' time-out lines need a time-out shorter than any the
// global commands pass.
class WrapperTimeOut : public ProcessRunnerTest {
protected:
    zeltest::InstalledHost host_{R"({"toolsFolder": ")" + StandInControl::toolsFolder() + R"(", "disks": []})"};
};

TEST_F(WrapperTimeOut, DevconEndsItsToolAfterTheTimeOut) {
    control_.answer({{"exit", 0}, {"delayMs", 20000}});
    zeltest::LogCapture log;
    EXPECT_FALSE(zel::DevconWrapper().enable("PCI\\VEN_0001&DEV_0002", 0.3));
    EXPECT_TRUE(log.contains("INFO     enable device time exceeds timeout: 0.30\n")) << log.text();
    EXPECT_EQ(zel::terminateChildProcesses("devcon_amd64.exe"), 0) << "already ended by the wrapper";
    EXPECT_FALSE(zel::DevconWrapper().rescan(0.25));
    EXPECT_TRUE(log.contains("INFO     rescan time exceeds timeout: 0.25\n"));
    EXPECT_FALSE(zel::DevconWrapper().disable("PCI\\VEN_0001&DEV_0002", 0.3));
    EXPECT_TRUE(log.contains("INFO     disable device time exceeds timeout: 0.30\n"));
}

TEST_F(WrapperTimeOut, PssuspendAndDiskpartReportTheTimeOut) {
    control_.answer({{"exit", 0}, {"delayMs", 20000}});
    zeltest::LogCapture log;
    zeltest::TempDir work;
    char previous[MAX_PATH] = {};
    GetCurrentDirectoryA(MAX_PATH, previous);
    SetCurrentDirectoryA(work.path().c_str());
    EXPECT_FALSE(zel::PssuspendWrapper().suspend("app.exe", 0.3));
    EXPECT_FALSE(zel::PssuspendWrapper().resume("app.exe", 0.3));
    EXPECT_FALSE(zel::DiskpartWrapper().clean(3, 0.3));
    EXPECT_FALSE(zel::DiskpartWrapper().format(3, 'F', 0.3));
    SetCurrentDirectoryA(previous);
    EXPECT_TRUE(log.contains("INFO     suspend process exceeds timeout: 0.30\n")) << log.text();
    EXPECT_TRUE(log.contains("INFO     resume process exceeds timeout: 0.30\n"));
    EXPECT_TRUE(log.contains("WARNING  clean disk error code: 536870936\n"));
    EXPECT_TRUE(log.contains("WARNING  format disk error code: 0x20000018\n"));
    EXPECT_FALSE(zeltest::fileExists(work.file("diskpart_clean.txt"))) << "deleted after a time-out too";
    EXPECT_EQ(zel::terminateChildProcesses("pssuspend64.exe"), 2) << "pssuspend is left running";
}

// CommandLineToArgvW reads our quoting back, independently of it.
TEST(CommandLineQuotingOnWindows, TheWindowsParserReadsBackEachValue) {
    for (const std::string value : {"a\" & calc & \"", "x\\\" /r", "C:\\drivers\\", "", "two\\\\", "\"", "a b\tc"}) {
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
