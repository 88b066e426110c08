#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <regex>

#include "tests/support/ChildProcess.h"
#include "tests/support/TempDir.h"

// Under the virtual host the banner names the description and leads the
// log, even before a refusal; on the console it is on stderr, so stdout
// keeps the bare results (tests/disk: --monitor). --debug reads back the
// error mode that keeps crash and critical-error dialogs away.
TEST(Unattended, VirtualHostBannerLeadsTheLogAndDialogsAreOff) {
    zeltest::TempDir dir;
    std::ofstream(dir.file("host.json"), std::ios::binary) << R"({"disks": []})";
    const std::vector<std::string> host = {"ZELCLI_VHOST=" + dir.file("host.json")};
    const std::string banner = "WARNING  [ZelCli] Virtual test host " + dir.file("host.json") +
                               " (ZELCLI_VHOST): no real device is touched\n";
    auto refused = zeltest::runZelCliStreamsApart("--info --diskid abc --logdir \"" + dir.path() + "\" --logfile run.log",
                                                  dir.path(), host);
    EXPECT_EQ(refused.exitCode, 0x20000004u);
    const std::string log = zeltest::withoutCr(zeltest::readFile(dir.file("run.log")));
    EXPECT_EQ(log.substr(std::min<size_t>(24, log.size()), banner.size()), banner) << log;
    EXPECT_TRUE(zeltest::contains(log.substr(log.find('\n') + 1), "--diskid is not a valid number")) << log;
    EXPECT_TRUE(zeltest::contains(zeltest::withoutCr(refused.errorOutput), banner)) << refused.errorOutput;
    EXPECT_FALSE(zeltest::contains(refused.output, "ZELCLI_VHOST")) << refused.output;
    EXPECT_FALSE(zeltest::contains(zeltest::runZelCli("--info --diskid abc").output, "Virtual test host"));

    const std::string debug = zeltest::runZelCli("--exist --debug", dir.path(), host).output;
    std::smatch mode;
    ASSERT_TRUE(std::regex_search(debug, mode, std::regex("Error mode 0x([0-9A-F]+): no error dialogs"))) << debug;
    EXPECT_EQ(std::stoul(mode[1], nullptr, 16) & 0x8003u, 0x8003u)
        << "SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX";
}
