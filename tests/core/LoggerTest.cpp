#include <gtest/gtest.h>

#include <io.h>

#include <cstdio>
#include <regex>

#include "core/Logger.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TempDir.h"

namespace {

class LoggerTest : public testing::Test {
protected:
    void SetUp() override { logger().setConsoleEcho(false); }
    void TearDown() override {
        logger().open("");
        logger().setLevels(50, zel::kInfo);
    }
    static zel::Logger& logger() { return zel::Logger::instance(); }
    zeltest::TempDir dir_;
};

}  // namespace

TEST_F(LoggerTest, LineFormatThresholdAndAppend) {
    logger().setLevels(50, zel::kInfo);
    logger().open(dir_.file("a.log"));
    logger().debug("hidden");
    zel::logSendLine("[P] hidden too");
    logger().info("shown");
    zel::logWarning("value=%d", 7);
    zel::logError("[X] bad");
    logger().open("");
    logger().setLevels(10, zel::kDebug);  // the upper bound is always 50
    EXPECT_TRUE(logger().enabled(zel::kError));
    logger().open(dir_.file("a.log"));
    zel::logDebug("Disk%d exists", 3);
    zel::logSendLine("[P] Send command: OPC=%X", 6);
    logger().open("");

    // Exactly these lines: the hidden ones are missing, the second open appends.
    const std::string stamp = R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d,\d{3} )", end = R"(\r?\n)";
    const std::regex whole(stamp + "INFO     shown" + end + stamp + "WARNING  value=7" + end + stamp +
                           R"(ERROR    \[X\] bad)" + end + stamp + "DEBUG    Disk3 exists" + end + stamp +
                           R"(DEBUG    \[P\] Send command: OPC=6)" + end);
    const std::string text = zeltest::readFile(dir_.file("a.log"));
    EXPECT_TRUE(std::regex_match(text, whole)) << text;
}

TEST_F(LoggerTest, UnopenableFileLosesLinesSilently) {
    logger().open(dir_.file("missing\\sub\\x.log"));
    logger().info("lost");
    EXPECT_FALSE(zeltest::fileExists(dir_.file("missing\\sub\\x.log")));
}

TEST(Progress, OverwritesOneConsoleLineAndCapsAtHundred) {
    zeltest::TempDir dir;
    const std::string path = dir.file("progress.txt");
    std::fflush(stdout);
    int saved = _dup(_fileno(stdout));
    FILE* redirected = std::freopen(path.c_str(), "w", stdout);
    ASSERT_NE(redirected, nullptr);
    zel::printProgress(42, "Write LBA", 123456789012ULL);
    zel::printProgress(250, "Read", 7);
    std::fflush(stdout);
    _dup2(saved, _fileno(stdout));
    _close(saved);
    EXPECT_EQ(zeltest::readFile(path), "\r[42%] Write LBA 123456789012...\r[100%] Read 7...");
}
