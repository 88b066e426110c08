#include <gtest/gtest.h>

#include <fstream>

#include "core/ActionResultJson.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TempDir.h"

// The instance is process-wide and its first caller fixes the path, so the
// whole life cycle is checked in one test.
TEST(ActionResultJson, FirstPathWinsAndDocumentRoundTrips) {
    zeltest::TempDir dir;
    const std::string path = dir.file("zelcli_actres.json");
    {
        std::ofstream seed(path);
        seed << R"({"drive_info_list": [], "workload_info": {"total_lines": 3}})";
    }
    auto& result = zel::ActionResultJson::instance(path);
    EXPECT_TRUE(result.loaded());
    EXPECT_EQ(result.document()["workload_info"]["total_lines"], 3);
    EXPECT_EQ(&zel::ActionResultJson::instance(dir.file("other.json")), &result);
    EXPECT_EQ(result.path(), path);

    result.document()["smart_info"] = {{"b", 1}, {"a", 2}};
    ASSERT_TRUE(result.save());
    EXPECT_FALSE(zeltest::fileExists(dir.file("other.json")));

    zel::Json reread = zel::Json::parse(zeltest::readFile(path));
    EXPECT_EQ(reread["workload_info"]["total_lines"], 3) << "other sections survive a save";
    EXPECT_EQ(reread["smart_info"].begin().key(), "b") << "keys keep their insertion order";
}
