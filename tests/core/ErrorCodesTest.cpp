#include <gtest/gtest.h>

#include <windows.h>

#include <regex>

#include "core/ErrorCodes.h"

using zel::errorText;

// Group edges and gaps: a code without a row formats short.
TEST(ErrorCodes, OwnCodesFormatWithTheirTextOrShort) {
    const std::pair<zel::ErrorCode, const char*> cases[] = {
        {0x20000000, "(LE=0x20000000, Success.)"}, {0x20000007, "(LE=0x20000007, Disk not found!)"},
        {0x2000000D, "(LE=0x2000000D, Failed to precondtion DUT.)"},
        {0x20000018, "(LE=0x20000018, Reach timeout when running subprocess)"},
        {0x2000001F, "(LE=0x2000001F, Failed to delete driver)"}, {0x20000020, "(LE=0x20000020)"},
        {0x20000141, "(LE=0x20000141, Failed to execute command in workload file.)"}, {0x20000200, "(LE=0x20000200)"},
        {0x20000002, "(LE=0x20000002)"}, {0x3FFFFFFF, "(LE=0x3FFFFFFF)"},
        {0x0FFFFFF1, "(LE=0xFFFFFF1, )"}};  // a system code Windows has no message for
    for (const auto& [code, text] : cases) EXPECT_EQ(errorText(code), text) << std::hex << code;
}

// Windows' message on one line, without the blanks and line end around it.
TEST(ErrorCodes, SystemCodesUseTheTrimmedWindowsMessage) {
    const std::regex trimmed(R"(\(LE=0x(2|17), \S([^\r\n]*\S)?\))");
    for (DWORD code : {ERROR_FILE_NOT_FOUND, ERROR_CRC})
        EXPECT_TRUE(std::regex_match(errorText(code), trimmed)) << errorText(code);
}

TEST(ErrorCodes, LastErrorIsSharedWithWindows) {
    zel::setLastError(0x20000123);
    EXPECT_EQ(zel::lastError(), 0x20000123u);
    EXPECT_EQ(GetLastError(), 0x20000123u);

    SetLastError(ERROR_ACCESS_DENIED);
    EXPECT_EQ(zel::takeSystemLastError(), static_cast<zel::ErrorCode>(ERROR_ACCESS_DENIED));
    EXPECT_EQ(zel::lastError(), static_cast<zel::ErrorCode>(ERROR_ACCESS_DENIED));
}
