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

    // Another run saves between this run's load and its save.
    std::ofstream(path, std::ios::trunc) << R"({"drive_info_list": [{"sn": "B"}], "workload_info": {"total_lines": 3}})";
    result.document()["smart_info"] = {{"b", 1}, {"a", 2}};
    ASSERT_TRUE(result.save());
    EXPECT_FALSE(zeltest::fileExists(dir.file("other.json")));

    zel::Json reread = zel::Json::parse(zeltest::readFile(path));
    EXPECT_EQ(reread["workload_info"]["total_lines"], 3) << "other sections survive a save";
    EXPECT_EQ(reread["smart_info"].begin().key(), "b") << "keys keep their insertion order";
    EXPECT_EQ(reread["drive_info_list"][0]["sn"], "B") << "the other run's update is kept";

    ASSERT_TRUE(result.update([](zel::Json& document) { document["drive_info_list"].push_back({{"sn", "C"}}); }));
    EXPECT_EQ(zel::Json::parse(zeltest::readFile(path))["drive_info_list"].size(), 2u);
    EXPECT_EQ(result.document()["drive_info_list"][1]["sn"], "C");
}
