#include <gtest/gtest.h>

#include <windows.h>

#include <cstring>

#include "host/OsInfoCollector.h"
#include "host/PlatformInfoCollector.h"
#include "tests/support/LogCapture.h"

namespace {

// Each of `lines` is a whole line of what `print` logs, right after its level tag.
template <class Print>
void expectLines(Print print, std::initializer_list<std::string> lines) {
    zeltest::LogCapture capture;
    print();
    const std::string log = capture.text();
    for (const std::string& line : lines) {
        bool found = false;
        for (size_t at = log.find(line); at != std::string::npos && !found; at = log.find(line, at + 1)) {
            const char next = log[at + line.size()];
            found = (next == '\r' || next == '\n') && at >= 1 && log[at - 1] == ' ';
        }
        EXPECT_TRUE(found) << line << "\n" << log;
    }
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
    expectLines([&] { collector.print(); },
                {"  SystemRoot: " + collector.info().systemRoot,
                 "  BuildNumber: " + std::to_string(collector.info().buildNumber), "  Type: x64"});
}

TEST(Collectors, PlatformBlockPrintsAmdAsUnknown) {
    zel::PlatformInfo info;
    std::strcpy(info.baseBoardManufacturer, "Board Maker");
    std::strcpy(info.biosVersion, "1.2.3");
    info.processorType = zel::kProcessorAmd;
    expectLines([&] { zel::PlatformInfoCollector(info).print(); },
                {"  BaseBoardManufacturer: Board Maker", "  BIOSVersion: 1.2.3",
                 "  BaseBoardProduct: ", "  Processor Type: Unknown"});
    info.processorType = zel::kProcessorIntel;
    expectLines([&] { zel::PlatformInfoCollector(info).print(); }, {"  Processor Type: INTEL"});

    // Whatever the host holds, collecting fills only bounded, terminated fields.
    zel::PlatformInfoCollector host;
    host.collect();
    EXPECT_LT(std::strlen(host.info().biosVendor), 64u);
    EXPECT_LT(std::strlen(host.info().baseBoardVersion), 64u);
}

}  // namespace
