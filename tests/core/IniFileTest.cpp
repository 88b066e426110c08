#include <gtest/gtest.h>

#include "core/IniFile.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TempDir.h"

TEST(IniFile, ConstructionCreatesAnEmptyFile) {
    zeltest::TempDir dir;
    const std::string path = dir.file("out.ini");
    zel::IniFile ini(path);
    EXPECT_TRUE(zeltest::fileExists(path));
    EXPECT_EQ(zeltest::readFile(path), "");
}

TEST(IniFile, WritesAndReadsThroughProfileCalls) {
    zeltest::TempDir dir;
    zel::IniFile ini(dir.file("r.ini"));
    EXPECT_TRUE(ini.writeText("Thread0", "result", "PASS"));
    EXPECT_TRUE(ini.writeNumber("Thread0", "code", -5));
    EXPECT_TRUE(ini.writeText("Other", "blank", "   "));
    EXPECT_EQ(ini.readText("Thread0", "result"), "PASS");
    EXPECT_EQ(ini.readText("Thread0", "code"), "-5");
    EXPECT_TRUE(ini.hasValue("Thread0", "code"));
    EXPECT_FALSE(ini.hasValue("Other", "blank")) << "white space only counts as empty";
    EXPECT_FALSE(ini.hasValue("Thread0", "absent"));
}

TEST(IniFile, EmptyPathWritesNothing) {
    zel::IniFile ini("");
    EXPECT_FALSE(ini.writeText("s", "k", "v"));
    EXPECT_FALSE(ini.writeNumber("s", "k", 1));
}
