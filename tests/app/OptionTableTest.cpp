#include <gtest/gtest.h>

#include <regex>
#include <sstream>
#include <vector>

#include "app/OptionTable.h"

namespace {

// The documented order of the option table.
const std::vector<std::string> kDefaultGroup = {
    "help", "debug", "info", "exist", "rescan", "enablepci", "disablepci", "vid", "did", "prechk", "screenshot",
    "disable-cmd", "enable-cmd", "suspend-proc", "resume-proc", "commfile", "init", "close_winio", "update-driver",
    "delete-driver", "dump", "action", "diskid", "pwrid", "disksn", "diskpattern", "diskmodel", "pwrmodel",
    "out-ini", "out-log", "out-bin", "out-csv", "out_json", "in-bin", "in-ini", "pwrctrl", "vol", "pwroffdelay",
    "pwroffto", "pwrondelay", "pwronto", "sleepdelay", "shortcycle", "shortcycleintv", "pwrtype",
    "pwrcycle-retrycnt", "pwrcmddelay", "chk-hmb", "iotype", "rw", "start", "size", "bs", "pattern", "metadata",
    "totalloop", "totaltime", "totalio", "qd", "thread", "src", "dest", "formatd", "cleand", "includedata",
    "freespace", "seed", "dma", "align", "section", "gap", "protocol", "io", "timeout", "data", "datalen",
    "feature", "lba", "device", "command", "status", "48bit", "cdb", "opc", "ns", "cdw10", "cdw11", "cdw12",
    "cdw13", "cdw14", "cdw15", "queue", "trim", "flush", "identify", "dumptype", "dumpsize", "lid", "lpsize",
    "startup", "name", "path", "arg", "smart-config", "prev-smart-bin", "init-smart-bin", "monitor", "analyze"};

std::vector<std::string> optionsInHelp(const std::string& help) {
    std::vector<std::string> names;
    std::regex option(R"(^ {1,8}(?:-\w, )?--([\w-]+))");
    std::istringstream in(help);
    for (std::string line; std::getline(in, line);) {
        std::smatch m;
        if (std::regex_search(line, m, option)) names.push_back(m[1]);
    }
    return names;
}

zel::ParseResult parse(std::vector<const char*> argv) {
    auto options = zel::makeOptions();
    argv.insert(argv.begin(), "ZelCli.exe");
    return zel::parseCommandLine(*options, static_cast<int>(argv.size()), argv.data());
}

}  // namespace

TEST(OptionTable, HelpListsEveryOptionInDeclaredOrder) {
    std::string help = zel::makeOptions()->help();
    EXPECT_EQ(help.rfind(" - ZEL KTV command line tool\nUsage:\n  ZelCli.exe [OPTION...]", 0), 0u) << help.substr(0, 80);
    std::vector<std::string> expected = kDefaultGroup;
    expected.push_back("logfile");
    expected.push_back("logdir");
    EXPECT_EQ(optionsInHelp(help), expected);
    EXPECT_LT(help.find(" output options:"), help.find("--logfile"));
}

TEST(OptionTable, LabelsShortNamesAndDescriptions) {
    std::string help = zel::makeOptions()->help();
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
    zel::ParseResult args = parse({"-d", "3", "-a", "rw", "--48bit", "--logdir=C:\\x", "--size", "4k"});
    EXPECT_EQ(args.text("diskid"), "3");
    EXPECT_EQ(args.integer("diskid", -1), 3);
    EXPECT_EQ(args.text("action"), "rw");
    EXPECT_TRUE(args.has("48bit"));
    EXPECT_EQ(args.text("logdir"), "C:\\x");
    EXPECT_EQ(args.text("size"), "4k") << "values stay text; readers convert";
    EXPECT_FALSE(args.has("Action")) << "lookups are case-sensitive";
    EXPECT_EQ(args.integer("pwrid", -1), -1);
    EXPECT_EQ(args.text("pattern", "rand"), "rand");
}
