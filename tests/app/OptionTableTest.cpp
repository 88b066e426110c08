#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <set>
#include <vector>

#include "app/OptionTable.h"
#include "tests/support/ChildProcess.h"

namespace {

std::vector<std::string> matches(const std::string& text, const std::string& pattern) {
    std::vector<std::string> found;
    const std::regex re(pattern);
    for (std::sregex_iterator it(text.begin(), text.end(), re), end; it != end; ++it) found.push_back((*it)[1]);
    return found;
}

// As help lists them (no hidden rows, the output group last), or in table order.
std::vector<std::string> tableNames(bool asHelp) {
    std::vector<std::string> names, output;
    for (const zel::OptionRow& row : zel::optionTable())
        if (!asHelp || !row.hidden) (asHelp && row.group == "output" ? output : names).push_back(row.name);
    names.insert(names.end(), output.begin(), output.end());
    return names;
}

}  // namespace

// The table with the output group last; the labels, short names and the
// descriptions scripts match, typos included.
TEST(OptionTable, HelpListsTheTableWithItsLabelsAndTheOutputGroupLast) {
    std::string help = zel::helpText(*zel::makeOptions());
    EXPECT_EQ(help.rfind(" - ZEL KTV command line tool\nUsage:\n  ZelCli.exe [OPTION...]", 0), 0u) << help.substr(0, 80);
    EXPECT_EQ(matches(help, R"((?:^|\n) {1,8}(?:-\w, )?--([\w-]+))"), tableNames(true));
    EXPECT_LT(help.find(" output options:"), help.find("--logfile"));
    for (const char* text : {"-h, --help", "-a, --action pwr/rw/cmd/smart", "-l, --logfile filepath",
                             "-d, --diskid ID", "-p, --pwrid ID", "--update-driver inf path",
                             "--dumptype zero/rand/lba/identify/smart/logpage/identifyns", "--cdw13 CDW13",
                             "--opc Opcode", "--ns NSID", "--name action_name", "Enalbe window close button",
                             "Rread/Write pattern", "Metatdata of data", "LAB alignment",
                             "This field is command specific Dword 15", "d3hot: PCI power management D3 hot"})
        EXPECT_NE(help.find(text), std::string::npos) << text;
    EXPECT_TRUE(std::regex_search(help, std::regex(R"(\n\s+--thread\s+Thread number)"))) << "thread is a flag";
}

TEST(OptionTable, ParseKeepsLongNamesAndTextValues) {
    auto options = zel::makeOptions();
    const char* argv[] = {"ZelCli.exe", "-d", "3", "-a", "rw", "--48bit", "--logdir=C:\\x", "--size", "4k"};
    zel::ParseResult args = zel::parseCommandLine(*options, 9, argv);
    EXPECT_EQ(args.text("diskid") + args.text("action") + args.text("logdir") + args.text("size"), "3rwC:\\x4k");
    EXPECT_TRUE(args.has("48bit"));
    EXPECT_FALSE(args.has("Action")) << "lookups are case-sensitive";
}

// Each cmd field has one row, read by cmd, so that the engine's refusal can name it.
TEST(OptionTable, EveryCmdFieldHasOneRowOfTheCmdAction) {
    const std::vector<std::string> cmd = zel::optionsOfAction("cmd");
    std::set<zel::CmdField> fields;
    for (const zel::OptionRow& row : zel::optionTable()) {
        if (!row.cmdField) continue;
        EXPECT_TRUE(fields.insert(*row.cmdField).second) << row.name;
        EXPECT_NE(std::find(cmd.begin(), cmd.end(), row.name), cmd.end()) << row.name;
    }
    EXPECT_EQ(fields.size(), static_cast<size_t>(zel::CmdField::Count));
    EXPECT_TRUE(zel::optionsOfAction("info").empty());
}

// The page lists every option in table order and names no other.
TEST(OptionTable, OptionsPageFollowsTheTable) {
    const std::string text = zeltest::readFile(ZEL_OPTIONS_DOC);
    const size_t begin = text.find("## Every option, in help order");
    ASSERT_NE(begin, std::string::npos) << ZEL_OPTIONS_DOC;
    const std::string list = text.substr(begin, text.find("\n## ", begin + 1) - begin);
    EXPECT_EQ(matches(list, "`([^`]+)`"), tableNames(false));
    for (const std::string& name : matches(text, R"((?:^|[^-\w])--([a-z0-9][\w-]*))"))
        EXPECT_NE(zel::findOption(name), nullptr) << "--" << name;
}
