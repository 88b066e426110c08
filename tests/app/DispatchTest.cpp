#include <gtest/gtest.h>

#include <windows.h>


#include "app/ActionFactory.h"
#include "app/Entry.h"
#include "app/OptionTable.h"
#include "core/Logger.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TempDir.h"

namespace {

class ScriptedAction : public ActionBase {
public:
    ScriptedAction(bool initOk, zel::ErrorCode initCode, zel::ErrorCode runCode)
        : initOk(initOk), initCode(initCode), runCode(runCode) {}
    std::string name() const override { return "fake"; }
    bool init(const zel::ParseResult&) override {
        zel::setLastError(initCode);
        return initOk;
    }
    zel::ErrorCode execute(const zel::ParseResult&) override {
        ++executed;
        return runCode;
    }
    const bool initOk;
    const zel::ErrorCode initCode, runCode;
    int executed = 0;
};

class DispatchTest : public testing::Test {
protected:
    void SetUp() override {
        zel::Logger::instance().setConsoleEcho(false);
        zel::Logger::instance().setLevels(50, zel::kInfo);
        zel::Logger::instance().open(dir_.file("d.log"));
    }
    void TearDown() override { zel::Logger::instance().open(""); }

    std::string log() {
        zel::Logger::instance().open("");
        return zeltest::readFile(dir_.file("d.log"));
    }

    zeltest::TempDir dir_;
    std::unique_ptr<cxxopts::Options> options_ = zel::makeOptions();
};

}  // namespace

TEST_F(DispatchTest, InitAndRunResultsBecomeTheExitCode) {
    struct Case {
        bool initOk;
        zel::ErrorCode initCode, runCode;
        bool precheck;
        zel::ErrorCode exit;
        int executed;
        const char* logged;
    } cases[] = {
        // A missing port driver is forgiven outside the pre-check.
        {false, 0x20000001, 0x20000001, false, 0, 1, ""},
        {false, 0x20000001, 0x20000130, false, 0x20000130, 1,
         "ERROR    [ZelCli] Failed to execute action fake... (LE=0x20000130, Data miscompare.)"},
        {false, 0x20000001, 0, true, 0x20000001, 0,
         "[ZelCli] Failed to initialize action fake... (LE=0x20000001, Failed to initialize WinIO"},
        {true, 0, 0x20000001, true, 0x20000001, 1, ""},
        // Any other init failure stops the run, unless it left no code.
        {false, 0x20000007, 0, false, 0x20000007, 0,
         "ERROR    [ZelCli] Failed to initialize action fake... (LE=0x20000007, Disk not found!)"},
        {false, 0, 0, false, 0, 1, ""},
        {true, 0, ERROR_ACCESS_DENIED, false, ERROR_ACCESS_DENIED, 1, "Failed to execute action fake... (LE=0x5, "},
    };
    for (const Case& c : cases) {
        const auto i = &c - cases;
        ScriptedAction action(c.initOk, c.initCode, c.runCode);
        EXPECT_EQ(zel::dispatchAction(&action, "fake", {}, c.precheck, *options_), c.exit) << "case " << i;
        EXPECT_EQ(action.executed, c.executed) << "case " << i;
        EXPECT_NE(log().find(c.logged), std::string::npos) << "case " << i << ": " << c.logged;
        zel::Logger::instance().open(dir_.file("d.log"));
    }
}

TEST(ActionFactory, AnUnknownNameFindsNothingAndAddsNothing) {
    auto factory = ActionFactory::instance();
    const size_t actions = factory->size();
    for (const char* name : {"none", "", "PWR"}) EXPECT_EQ(factory->get(name), nullptr) << name;
    EXPECT_EQ(factory->size(), actions);
    EXPECT_NE(factory->get("pwr"), nullptr);
}
