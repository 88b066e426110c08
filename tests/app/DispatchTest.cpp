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
        : initOk_(initOk), initCode_(initCode), runCode_(runCode) {}
    std::string name() const override { return "fake"; }
    bool init(const zel::ParseResult&) override {
        zel::setLastError(initCode_);
        return initOk_;
    }
    zel::ErrorCode execute(const zel::ParseResult&) override {
        ++executed;
        return runCode_;
    }
    int executed = 0;

private:
    bool initOk_;
    zel::ErrorCode initCode_, runCode_;
};

class DispatchTest : public testing::Test {
protected:
    void SetUp() override {
        zel::Logger::instance().setConsoleEcho(false);
        zel::Logger::instance().setLevels(50, zel::kInfo);
        zel::Logger::instance().open(dir_.file("d.log"));
    }
    void TearDown() override { zel::Logger::instance().open(""); }

    zel::ErrorCode run(ScriptedAction& action, bool precheck) {
        return zel::dispatchAction(&action, "fake", {}, precheck, *options_);
    }
    std::string log() {
        zel::Logger::instance().open("");
        return zeltest::readFile(dir_.file("d.log"));
    }

    zeltest::TempDir dir_;
    std::unique_ptr<cxxopts::Options> options_ = zel::makeOptions();
};

}  // namespace

TEST_F(DispatchTest, MissingPortDriverIsForgivenOutsidePrecheck) {
    ScriptedAction initFails(false, 0x20000001, 0x20000001);
    EXPECT_EQ(run(initFails, false), 0u);
    EXPECT_EQ(initFails.executed, 1);

    ScriptedAction runFails(false, 0x20000001, 0x20000130);
    EXPECT_EQ(run(runFails, false), 0x20000130u);
    EXPECT_NE(log().find("ERROR    [ZelCli] Failed to execute action fake... (LE=0x20000130, Data miscompare.)"),
              std::string::npos);
}

TEST_F(DispatchTest, PrecheckReportsTheMissingPortDriver) {
    ScriptedAction initFails(false, 0x20000001, 0);
    EXPECT_EQ(run(initFails, true), 0x20000001u);
    EXPECT_EQ(initFails.executed, 0);
    ScriptedAction runFails(true, 0, 0x20000001);
    EXPECT_EQ(run(runFails, true), 0x20000001u);
    EXPECT_NE(log().find("[ZelCli] Failed to initialize action fake... (LE=0x20000001, Failed to initialize WinIO"),
              std::string::npos);
}

TEST_F(DispatchTest, InitFailureStopsTheRunUnlessItLeftNoCode) {
    ScriptedAction notFound(false, 0x20000007, 0);
    EXPECT_EQ(run(notFound, false), 0x20000007u);
    EXPECT_EQ(notFound.executed, 0);
    EXPECT_NE(log().find("ERROR    [ZelCli] Failed to initialize action fake... (LE=0x20000007, Disk not found!)"),
              std::string::npos);

    ScriptedAction noCode(false, 0, 0);
    EXPECT_EQ(run(noCode, false), 0u);
    EXPECT_EQ(noCode.executed, 1);
}

TEST_F(DispatchTest, ExecutionResultBecomesTheExitCode) {
    ScriptedAction ok(true, 0, 0);
    EXPECT_EQ(run(ok, false), 0u);
    ScriptedAction system(true, 0, ERROR_ACCESS_DENIED);
    EXPECT_EQ(run(system, false), static_cast<zel::ErrorCode>(ERROR_ACCESS_DENIED));
    EXPECT_NE(log().find("Failed to execute action fake... (LE=0x5, "), std::string::npos);
}

TEST_F(DispatchTest, NoActionWarnsAndAsksForArguments) {
    EXPECT_EQ(zel::dispatchAction(nullptr, "", {}, false, *options_), 0x20000004u);
    EXPECT_NE(log().find("WARNING  [ZelCli] No action found!"), std::string::npos);
}

TEST(ActionFactory, RegistersFiveActionsByExactName) {
    auto factory = ActionFactory::instance();
    EXPECT_EQ(factory.get(), ActionFactory::instance().get());
    for (const char* name : {"pwr", "rw", "cmd", "wkld", "smart"}) {
        ActionBase* action = factory->get(name);
        ASSERT_NE(action, nullptr) << name;
        EXPECT_EQ(action->name(), name);
    }
    size_t before = factory->size();
    EXPECT_EQ(factory->get("PWR"), nullptr);
    EXPECT_EQ(factory->size(), before + 1) << "an unknown name leaves an empty entry";
    EXPECT_EQ(factory->get("PWR"), nullptr);
    EXPECT_EQ(factory->size(), before + 1);
}
