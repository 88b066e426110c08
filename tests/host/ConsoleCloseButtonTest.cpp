#include <gtest/gtest.h>

#include <windows.h>

#include "tests/support/ChildProcess.h"

namespace {

// The stand-in prints the close item of its last and other window after
// each step; both start grayed (tests/host/CmdWindowStandIn.cpp).
std::string standIn() { return zeltest::binaryFolder() + "\\cmd-standin\\cmd.exe"; }

TEST(ConsoleCloseButton, LastWindowOfEachPromptLosesItsCloseItemForGood) {
    auto run = zeltest::runProgram(standIn(), "enable disable enable disable");
    EXPECT_EQ(run.exitCode, 0u) << run.output;
    EXPECT_EQ(run.output,
              "last enabled\r\nother grayed\r\n"   // enabling acts on the item that is there
              "last missing\r\nother grayed\r\n"   // disabling deletes it
              "last missing\r\nother grayed\r\n"   // and enabling does not bring it back
              "last missing\r\nother grayed\r\n");
}

// Wine keeps a console's window in conhost.exe and refuses other processes'
// system menus, so here the commands can only be seen to run and answer.
TEST(ConsoleCloseButton, GlobalCommandsAnswerZeroWithAPromptOpen) {
    STARTUPINFOA startup{sizeof(startup)};
    PROCESS_INFORMATION prompt{};
    char commandLine[] = "cmd.exe /k";
    ASSERT_TRUE(CreateProcessA(nullptr, commandLine, nullptr, nullptr, FALSE, CREATE_NEW_CONSOLE, nullptr, nullptr,
                               &startup, &prompt));
    WaitForInputIdle(prompt.hProcess, 2000);
    for (const char* option : {"--disable-cmd", "--enable-cmd", "--disable-cmd --enable-cmd"}) {
        auto run = zeltest::runZelCli(option);
        EXPECT_EQ(run.exitCode, 0u) << option;
        EXPECT_EQ(run.output, "") << option;
    }
    TerminateProcess(prompt.hProcess, 0);
    CloseHandle(prompt.hThread);
    CloseHandle(prompt.hProcess);
}

}  // namespace
