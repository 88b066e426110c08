#include <gtest/gtest.h>

#include <windows.h>

#include "core/ErrorCodes.h"

using zel::errorText;

// Group edges and gaps: a code without a row formats short.
TEST(ErrorCodes, OwnCodesFormatWithTheirTextOrShort) {
    const std::pair<zel::ErrorCode, const char*> cases[] = {
        {0x20000000, "(LE=0x20000000, Success.)"},
        {0x20000007, "(LE=0x20000007, Disk not found!)"},
        {0x2000000D, "(LE=0x2000000D, Failed to precondtion DUT.)"},
        {0x20000018, "(LE=0x20000018, Reach timeout when running subprocess)"},
        {0x2000001F, "(LE=0x2000001F, Failed to delete driver)"}, {0x20000020, "(LE=0x20000020)"},
        {0x20000141, "(LE=0x20000141, Failed to execute command in workload file.)"},
        {0x20000200, "(LE=0x20000200)"}, {0x20000002, "(LE=0x20000002)"}, {0x3FFFFFFF, "(LE=0x3FFFFFFF)"},
        {0x0FFFFFF1, "(LE=0xFFFFFF1, )"}};  // a system code Windows has no message for
    for (const auto& [code, text] : cases) EXPECT_EQ(errorText(code), text) << std::hex << code;
}

TEST(ErrorCodes, SystemCodesUseTheTrimmedWindowsMessage) {
    std::string text = errorText(ERROR_FILE_NOT_FOUND);
    ASSERT_EQ(text.rfind("(LE=0x2, ", 0), 0u) << text;
    EXPECT_EQ(text.back(), ')');
    std::string message = text.substr(9, text.size() - 10);
    EXPECT_FALSE(message.empty());
    EXPECT_EQ(message.find_first_of("\r\n"), std::string::npos);
    EXPECT_NE(message.front(), ' ');
    EXPECT_NE(message.back(), ' ');
    EXPECT_EQ(errorText(ERROR_CRC).rfind("(LE=0x17, ", 0), 0u);
}

TEST(ErrorCodes, LastErrorIsSharedWithWindows) {
    zel::setLastError(0x20000123);
    EXPECT_EQ(zel::lastError(), 0x20000123u);
    EXPECT_EQ(GetLastError(), 0x20000123u);

    SetLastError(ERROR_ACCESS_DENIED);
    EXPECT_EQ(zel::takeSystemLastError(), static_cast<zel::ErrorCode>(ERROR_ACCESS_DENIED));
    EXPECT_EQ(zel::lastError(), static_cast<zel::ErrorCode>(ERROR_ACCESS_DENIED));
}
