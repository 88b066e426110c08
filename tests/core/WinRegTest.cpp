#include <gtest/gtest.h>

#include <windows.h>

#include "core/WinReg.h"

namespace {
const char* const kKey = "SOFTWARE\\ZEL\\zeltest";
}

// Numbers as decimal text, written by one run and read by the next, are
// checked through ZelCli.exe (SmartEndToEnd, PowerEndToEnd).
TEST(WinReg, AbsentValuesReadAsTheDefault) {
    zel::WinReg::deleteValue(kKey, "never");
    EXPECT_EQ(zel::WinReg::readNumber(kKey, "never", -1), -1);
    EXPECT_EQ(zel::WinReg::readText("SOFTWARE\\ZEL\\no-such-key", "x", "dflt"), "dflt");
    EXPECT_FALSE(zel::WinReg::readDword("SOFTWARE\\ZEL\\no-such-key", "x").has_value());
}

TEST(WinReg, LongTextGrowsTheReadBuffer) {
    std::string text(300, 'z');
    ASSERT_TRUE(zel::WinReg::writeText(kKey, "long", text));
    EXPECT_EQ(zel::WinReg::readText(kKey, "long", ""), text);
}
