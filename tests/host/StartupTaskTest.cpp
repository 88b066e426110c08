#include <gtest/gtest.h>

#include <windows.h>
// The COM headers need the definitions of windows.h first.
#include <taskschd.h>
#include <wrl/client.h>

#include <regex>

#include "tests/support/ChildProcess.h"
#include "tests/support/TempDir.h"

using Microsoft::WRL::ComPtr;

namespace {

using zeltest::contains;

// The Task Scheduler's root folder, read and written beside ZelCli.exe.
class TaskFolder {
public:
    TaskFolder() {
        initialised_ = SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED));
        VARIANT none{};  // VT_EMPTY
        if (SUCCEEDED(CoCreateInstance(CLSID_TaskScheduler, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&service_))) &&
            SUCCEEDED(service_->Connect(none, none, none, none)))
            service_->GetFolder(text(L"\\"), &root_);
    }
    ~TaskFolder() {
        root_.Reset();
        service_.Reset();
        if (initialised_) CoUninitialize();
    }
    bool ready() const { return root_ != nullptr; }

    bool exists(const wchar_t* name) {
        ComPtr<IRegisteredTask> task;
        return SUCCEEDED(root_->GetTask(text(name), &task));
    }

    // A task with one program action and the service's default principal.
    bool add(const wchar_t* name) {
        ComPtr<ITaskDefinition> task;
        ComPtr<IActionCollection> actions;
        ComPtr<IAction> action;
        ComPtr<IExecAction> exec;
        if (FAILED(service_->NewTask(0, &task)) || FAILED(task->get_Actions(&actions)) ||
            FAILED(actions->Create(TASK_ACTION_EXEC, &action)) || FAILED(action.As(&exec)) ||
            FAILED(exec->put_Path(text(L"C:\\windows\\system32\\cmd.exe"))))
            return false;
        VARIANT none{};
        ComPtr<IRegisteredTask> registered;
        return SUCCEEDED(root_->RegisterTaskDefinition(text(name), task.Get(), TASK_CREATE_OR_UPDATE, none, none,
                                                       TASK_LOGON_INTERACTIVE_TOKEN, none, &registered));
    }

    void remove(const wchar_t* name) { root_->DeleteTask(text(name), 0); }

private:
    // The BSTRs live as long as the folder; tests make few.
    BSTR text(const wchar_t* value) {
        strings_.emplace_back(SysAllocString(value), SysFreeString);
        return strings_.back().get();
    }

    bool initialised_ = false;
    ComPtr<ITaskService> service_;
    ComPtr<ITaskFolder> root_;
    std::vector<std::unique_ptr<OLECHAR, void (*)(BSTR)>> strings_;
};

class StartupTask : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(tasks_.ready()) << "Task Scheduler not reachable"; }

    zeltest::ChildResult run(const std::string& args) {
        return zeltest::runZelCli(args + " --logdir \"" + dir_.path() + "\" --logfile run.log", dir_.path());
    }
    std::string log() const { return zeltest::readFile(dir_.file("run.log")); }

    zeltest::TempDir dir_;
    TaskFolder tasks_;
};

TEST_F(StartupTask, UnregisterRemovesTheTaskAndSucceedsWhenAbsent) {
    tasks_.remove(L"zeltest_unreg");
    ASSERT_TRUE(tasks_.add(L"zeltest_unreg"));
    ASSERT_TRUE(tasks_.exists(L"zeltest_unreg"));

    for (int pass = 0; pass < 2; ++pass) {
        auto result = run("--startup --name zeltest_unreg --arg \"-a rw\" --debug");
        EXPECT_EQ(result.exitCode, 0u) << result.output;
        EXPECT_FALSE(tasks_.exists(L"zeltest_unreg")) << "pass " << pass;
        EXPECT_TRUE(contains(log(), " DEBUG    Unregister auto-run zeltest_unreg [ -a rw]\r\n")) << log();
        EXPECT_TRUE(contains(result.output, " INFO     Successfully unregister start-up action.\r\n")) << result.output;
        EXPECT_FALSE(contains(result.output, "Success! Task")) << "nothing is printed when only removing";
    }
}

// Wine's principal refuses the interactive-token logon type with E_NOTIMPL,
// so registering fails there at that step, after the old task is removed.
TEST_F(StartupTask, RegisterRemovesTheOldTaskFirstAndReportsTheSchedulersFailure) {
    if (!zeltest::runningUnderWine()) GTEST_SKIP() << "would register a real logon task";
    tasks_.remove(L"zeltest_reg");
    ASSERT_TRUE(tasks_.add(L"zeltest_reg"));

    auto result = run("--startup --name zeltest_reg --path C:\\tools\\next.exe --arg \"-a rw -d 1\" --debug");
    EXPECT_EQ(result.exitCode, 0x2000000Fu) << result.output;
    EXPECT_FALSE(tasks_.exists(L"zeltest_reg")) << "deleted before the new definition is built";
    // The scheduler's message has no line end of its own: the INFO line
    // follows straight on.
    std::regex printed(R"(\r\nCannot put principal logon type: 80004001\d{4}-\d\d-\d\d \d\d:\d\d:\d\d,\d{3} )"
                       R"(INFO     Failed to set auto-run task zeltest_reg, C:\\tools\\next\.exe\r\n)");
    EXPECT_TRUE(std::regex_search(result.output, printed)) << result.output;
    for (const char* line : {" DEBUG    Register auto-run zeltest_reg [C:\\tools\\next.exe -a rw -d 1]\r\n",
                             " INFO     Failed to set auto-run task zeltest_reg, C:\\tools\\next.exe\r\n"})
        EXPECT_TRUE(contains(log(), line)) << line << log();
    // Neither the scheduler's own message nor a success line reaches the log.
    EXPECT_FALSE(contains(log(), "Cannot put") || contains(log(), "Successfully register")) << log();

    result = run("--startup --name zeltest_reg --path C:\\tools\\next.exe");
    EXPECT_EQ(result.exitCode, 0x2000000Fu) << "an absent old task changes nothing";
    EXPECT_FALSE(contains(run("--startup --name zeltest_reg --path x.exe").output, "DEBUG"))
        << "DEBUG lines need --debug";
}

}  // namespace
