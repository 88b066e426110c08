#include <gtest/gtest.h>

#include "host/CommandPrompts.h"
#include "host/CrashDumpName.h"

// The usual name beside the executable is checked on a crash (CrashDumperTest.cpp).
// Only a backslash ends the folder, the year is space-padded, and the whole
// name is cut to the name buffer.
TEST(CrashDumpName, FolderYearAndBufferLimit) {
    const zel::DumpTime time{2024, 3, 7, 9, 5, 1};
    EXPECT_EQ(zel::crashDumpFileName("ZelCli.exe", time), "\\ZelCliCrashDump__20240307_090501.dmp");
    EXPECT_EQ(zel::crashDumpFileName("C:/tools/ZelCli.exe", time), "\\ZelCliCrashDump__20240307_090501.dmp");
    EXPECT_EQ(zel::crashDumpFileName("D:\\x", {987, 1, 2, 0, 0, 0}), "D:\\ZelCliCrashDump__ 9870102_000000.dmp");
    EXPECT_EQ(zel::crashDumpFileName(std::string(1100, 'f') + "\\ZelCli.exe", time), std::string(1023, 'f'));
}

// The enumeration that feeds this runs against a stand-in prompt (ConsoleCloseButtonTest.cpp).
TEST(CommandPrompts, ExactNamesAfterTheFirstEntry) {
    const std::vector<zel::ProcessEntry> processes = {
        {0, "cmd.exe"},  // the first entry never counts, whatever its name
        {4, "System"},     {100, "cmd.exe"},  {104, "CMD.EXE"}, {108, "Cmd.exe"},
        {112, "cmd.exe "}, {116, "xcmd.exe"}, {118, "cmd.com"}, {120, "cmd.exe"},
    };
    EXPECT_EQ(zel::commandPromptIds(processes), (std::vector<uint32_t>{100, 120}));
    EXPECT_TRUE(zel::commandPromptIds({}).empty());
    EXPECT_TRUE(zel::commandPromptIds({{7, "cmd.exe"}}).empty());
}
