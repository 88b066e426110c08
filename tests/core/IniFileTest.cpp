#include <gtest/gtest.h>

#include "core/IniFile.h"
#include "core/SafeSave.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TempDir.h"

// Construction creates the file empty; an empty path writes nothing.
TEST(IniFile, WritesAndReadsThroughProfileCalls) {
    zeltest::TempDir dir;
    zel::IniFile ini(dir.file("r.ini"));
    EXPECT_EQ(zeltest::readFile(dir.file("r.ini")), "");
    EXPECT_TRUE(zeltest::fileExists(dir.file("r.ini")));
    EXPECT_TRUE(ini.writeText("Thread0", "result", "PASS"));
    EXPECT_TRUE(ini.writeNumber("Thread0", "code", -5));
    EXPECT_TRUE(ini.writeText("Other", "blank", "   "));
    EXPECT_EQ(ini.readText("Thread0", "result"), "PASS");
    EXPECT_EQ(ini.readText("Thread0", "code"), "-5");
    EXPECT_TRUE(ini.hasValue("Thread0", "code"));
    EXPECT_FALSE(ini.hasValue("Other", "blank")) << "white space only counts as empty";
    EXPECT_FALSE(ini.hasValue("Thread0", "absent"));
    zel::IniFile none("");
    EXPECT_FALSE(none.writeText("s", "k", "v"));
    EXPECT_FALSE(none.writeNumber("s", "k", 1));
}

// Keys reach the file together when the writer saves; writers sharing the
// file keep each other's keys; a path the profile calls cannot take is
// reported, not silently dropped.
TEST(IniFile, WritersSaveWholeAndKeepEachOthersKeys) {
    zeltest::TempDir dir;
    const std::string path = dir.file("shared.ini");
    zel::IniFile first(path);
    {
        zel::IniFile second(path);
        ASSERT_TRUE(first.writeText("t1", "mode", "write"));
        ASSERT_TRUE(second.writeText("t2", "mode", "read"));
        EXPECT_EQ(zeltest::readFile(path), "") << "nothing before the save";
    }
    EXPECT_EQ(zeltest::withoutCr(zeltest::readFile(path)), "[t2]\nmode=read\n");
    EXPECT_TRUE(first.writeText("t1", "seed", "7"));
    EXPECT_TRUE(first.save());
    const std::string both = zeltest::withoutCr(zeltest::readFile(path));
    EXPECT_TRUE(zeltest::contains(both, "[t2]\nmode=read\n")) << both;
    EXPECT_TRUE(zeltest::contains(both, "[t1]\nmode=write\nseed=7\n")) << both;
    EXPECT_FALSE(zeltest::fileExists(path + ".tmp"));

    EXPECT_EQ(zel::resultFileFailure(), 0u);
    zel::IniFile tooLong(dir.file(std::string(300, 'x') + ".ini"));
    EXPECT_FALSE(tooLong.writeText("s", "k", "v"));
    EXPECT_NE(zel::resultFileFailure(), 0u);
}
