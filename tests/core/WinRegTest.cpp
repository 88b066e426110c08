#include <gtest/gtest.h>

#include <windows.h>

#include "core/WinReg.h"

namespace {
const char* const kKey = "SOFTWARE\\ZEL\\zeltest";
}

TEST(WinReg, NumbersAreStoredAsDecimalText) {
    ASSERT_TRUE(zel::WinReg::writeNumber(kKey, "cycles", -42));
    EXPECT_EQ(zel::WinReg::readNumber(kKey, "cycles", 0), -42);
    EXPECT_EQ(zel::WinReg::readText(kKey, "cycles", ""), "-42");

    HKEY key = nullptr;
    ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, kKey, 0, KEY_READ | KEY_WOW64_64KEY, &key), ERROR_SUCCESS);
    DWORD type = 0;
    char data[32] = {};
    DWORD size = sizeof(data);
    EXPECT_EQ(RegQueryValueExA(key, "cycles", nullptr, &type, reinterpret_cast<BYTE*>(data), &size), ERROR_SUCCESS);
    RegCloseKey(key);
    EXPECT_EQ(type, static_cast<DWORD>(REG_SZ));
    EXPECT_STREQ(data, "-42");
}

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
