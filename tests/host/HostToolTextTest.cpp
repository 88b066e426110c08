// Command-line quoting and the dp_enum listing: pure text rules.
#include <gtest/gtest.h>

#include "host/CommandLineQuoting.h"
#include "host/DriverPackageList.h"

// How hostile values are quoted is checked by reading them back with the
// Windows parser (ProcessRunnerTest.cpp).
TEST(CommandLineQuoting, PlainValuesGoBareOthersQuoted) {
    EXPECT_EQ(zel::argumentText("oem3.inf"), "oem3.inf");
    EXPECT_EQ(zel::argumentText("notepad.exe"), "notepad.exe");
    EXPECT_EQ(zel::argumentText("my app.exe"), "\"my app.exe\"");
    EXPECT_EQ(zel::argumentText("a\"b"), "\"a\\\"b\"");
    EXPECT_EQ(zel::argumentText("line\nbreak"), "\"line\nbreak\"");
    EXPECT_EQ(zel::argumentText(""), "\"\"");
    const std::pair<const char*, bool> switches[] = {{"-r", true}, {"/force", true}, {"x-r", false}, {"", false}};
    for (const auto& [value, isSwitch] : switches) EXPECT_EQ(zel::looksLikeSwitch(value), isSwitch) << value;
}

TEST(DriverPackageList, TheLineBeforeEachKeywordLine) {
    const std::string listing =
        "The following 3rd party Driver Packages are on this machine:\r\n"
        "oem3.inf\r\n    Provider: Zeltron\r\n    Class: Storage controllers\r\n"
        "oem7.inf\r\n    Provider: Other\r\n    Class: Zeltron tools\r\n"
        "\r\n    Provider: Zeltron\r\n";
    // The class line makes the provider line a "name"; an empty line before
    // a match is skipped.
    EXPECT_EQ(zel::packagesMatching(listing, "Provider: Zeltron"), std::vector<std::string>{"oem3.inf"});
    EXPECT_EQ(zel::packagesMatching(listing, "Zeltron"),
              (std::vector<std::string>{"oem3.inf", "    Provider: Other"}));
    EXPECT_TRUE(zel::packagesMatching(listing, "nothing").empty());
    // The first line is never a match, and a bare "\n" does not split.
    EXPECT_TRUE(zel::packagesMatching("Zeltron\r\n", "Zeltron").empty());
    EXPECT_TRUE(zel::packagesMatching("oem1.inf\nZeltron", "Zeltron").empty());
}
