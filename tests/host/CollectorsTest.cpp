#include <gtest/gtest.h>

#include <windows.h>

#include <cstring>

#include "host/OsInfoCollector.h"
#include "host/PlatformInfoCollector.h"
#include "tests/support/LogCapture.h"

namespace {

template <class Print>
std::string logged(Print print) {
    zeltest::LogCapture capture;
    print();
    return capture.text();
}

bool hasLine(const std::string& log, const std::string& line) {
    for (size_t at = log.find(line); at != std::string::npos; at = log.find(line, at + 1)) {
        const char next = log[at + line.size()];
        if ((next == '\r' || next == '\n') && at >= 1 && log[at - 1] == ' ') return true;
    }
    return false;
}

// The blocks' headings and order are checked through ZelCli.exe --info
// (tests/disk/DiskCommandsEndToEndTest.cpp).
TEST(Collectors, OsBlockFromTheRegistry) {
    zel::OsInfoCollector collector;
    ASSERT_TRUE(collector.collect());
    char windows[MAX_PATH] = {};
    GetWindowsDirectoryA(windows, MAX_PATH);
    EXPECT_EQ(_stricmp(collector.info().systemRoot.c_str(), windows), 0);
    EXPECT_GT(collector.info().buildNumber, 0);
    EXPECT_EQ(collector.info().type, "x64");
    const std::string log = logged([&] { collector.print(); });
    EXPECT_TRUE(hasLine(log, "  SystemRoot: " + collector.info().systemRoot));
    EXPECT_TRUE(hasLine(log, "  BuildNumber: " + std::to_string(collector.info().buildNumber)));
    EXPECT_TRUE(hasLine(log, "  Type: x64"));
}

TEST(Collectors, PlatformBlockPrintsAmdAsUnknown) {
    zel::PlatformInfo info;
    std::strcpy(info.baseBoardManufacturer, "Board Maker");
    std::strcpy(info.biosVersion, "1.2.3");
    info.processorType = zel::kProcessorAmd;
    std::string log = logged([&] { zel::PlatformInfoCollector(info).print(); });
    EXPECT_TRUE(hasLine(log, "  BaseBoardManufacturer: Board Maker"));
    EXPECT_TRUE(hasLine(log, "  BIOSVersion: 1.2.3"));
    EXPECT_TRUE(hasLine(log, "  BaseBoardProduct: "));
    EXPECT_TRUE(hasLine(log, "  Processor Type: Unknown"));
    info.processorType = zel::kProcessorIntel;
    log = logged([&] { zel::PlatformInfoCollector(info).print(); });
    EXPECT_TRUE(hasLine(log, "  Processor Type: INTEL"));

    // Whatever the host holds, collecting fills only bounded, terminated fields.
    zel::PlatformInfoCollector host;
    host.collect();
    EXPECT_LT(std::strlen(host.info().biosVendor), 64u);
    EXPECT_LT(std::strlen(host.info().baseBoardVersion), 64u);
}

}  // namespace
