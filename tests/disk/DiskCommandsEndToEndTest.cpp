#include <gtest/gtest.h>

#include "tests/support/ChildProcess.h"
#include "tests/support/TempDir.h"

namespace {

using zeltest::runZelCli;

TEST(DiskCommandsEndToEnd, MissingDiskAnswers) {
    zeltest::TempDir dir;
    zeltest::ChildResult rw = runZelCli("-a rw --rw read --diskid 99", dir.path());
    EXPECT_EQ(rw.exitCode, 0x20000007u) << rw.output;
    EXPECT_NE(rw.output.find("[ZelCli] Failed to initialize action rw... (LE=0x20000007, Disk not found!)"),
              std::string::npos)
        << rw.output;

    EXPECT_EQ(runZelCli("--exist --diskid 99", dir.path()).exitCode, 0xC0380011u);
    EXPECT_EQ(runZelCli("--exist", dir.path()).exitCode, 0xC0380011u);
    EXPECT_EQ(runZelCli("--exist --disksn NO-SUCH-SERIAL", dir.path()).exitCode, 0xC0380011u);
    EXPECT_EQ(runZelCli("--monitor", dir.path()).exitCode, 1u);
    EXPECT_EQ(runZelCli("--monitor --diskid 99", dir.path()).exitCode, 1u);
    EXPECT_EQ(runZelCli("--close_winio", dir.path()).exitCode, 0u);
}

}  // namespace
