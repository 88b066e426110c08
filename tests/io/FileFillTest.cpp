#include <gtest/gtest.h>

#include "io/FileFill.h"

namespace {

constexpr uint64_t kMiB = 1 << 20;
constexpr auto kPercent = zel::Coverage::Unit::Percent;
constexpr auto kSectors = zel::Coverage::Unit::Sectors;
constexpr auto kBytes = zel::Coverage::Unit::Bytes;

zel::RwJob job(zel::Coverage size, bool freeSpace = false, bool includeData = false) {
    zel::RwJob j;
    j.size = size, j.freeSpace = freeSpace, j.includeData = includeData;
    return j;
}

}  // namespace

// Plain percentages, --freespace and --includedata are run end to end; here the
// caps, the units and the random picks. A 100 MiB volume with 60 MiB free.
TEST(FileFill, RunBytesFromCoverageBasisAndExistingData) {
    const zel::VolumeBytes volume{100 * kMiB, 60 * kMiB};
    struct Case { const char* what; zel::RwJob job; uint64_t random, bytes; } cases[] = {
        {"never more than the free space", job({kPercent, 100}), 0, 60 * kMiB},
        {"includedata with enough data already: nothing", job({kPercent, 30}, false, true), 0, 0},
        {"includedata is moot with freespace", job({kPercent, 50}, true, true), 0, 30 * kMiB},
        {"a count in sectors", job({kSectors, 2048}), 0, kMiB},
        {"a count in bytes, whole sectors", job({kBytes, 1000}), 0, 512},
        {"0% picks 1..100% from the clock's number", job({kPercent, 0}), 9, 10 * kMiB},
        {"0 sectors picks 1..basis sectors", job({kSectors, 0}), 2047, kMiB},
        {"a huge count is capped, not wrapped", job({kSectors, UINT64_MAX / 2}), 0, 60 * kMiB},
    };
    for (const Case& c : cases)
        EXPECT_EQ(zel::fileRunBytes(c.job, 512, volume, c.random), c.bytes) << c.what;
    EXPECT_EQ(zel::fileRunBytes(job({kPercent, 100}), 512, {100 * kMiB + 300, 100 * kMiB + 300}, 0), 100 * kMiB)
        << "rounded down to whole sectors";
    EXPECT_EQ(zel::fileRunBytes(job({kPercent, 100}), 512, {kMiB, 2 * kMiB}, 0), kMiB)
        << "a free count above the total is read as the total";
}

TEST(FileFill, FilesAreNumberedFromZeroAndSharedByTheThreadsInTurn) {
    const auto files = zel::planFillFiles(10 * kMiB + 1024, 3, 512);
    ASSERT_EQ(files.size(), 3u);
    uint64_t sum = 0;
    for (size_t i = 0; i < files.size(); ++i) {
        EXPECT_EQ(files[i].index, i);
        EXPECT_EQ(files[i].thread, i % 3 + 1);
        EXPECT_EQ(files[i].bytes % 512, 0u) << "whole sectors";
        sum += files[i].bytes;
    }
    EXPECT_EQ(sum, 10 * kMiB + 1024) << "exactly the run's bytes";
    EXPECT_EQ(files[0].bytes, files[1].bytes);
    EXPECT_LT(files[2].bytes, files[0].bytes) << "only the last is shorter";

    const auto large = zel::planFillFiles(5 * zel::kFillFileMaxBytes / 2, 1, 4096);
    ASSERT_EQ(large.size(), 3u) << "no file above the limit";
    EXPECT_EQ(large[0].bytes, zel::kFillFileMaxBytes);
    EXPECT_EQ(large[2].bytes, zel::kFillFileMaxBytes / 2);
    EXPECT_EQ(large[2].thread, 1u);
    EXPECT_TRUE(zel::planFillFiles(0, 4, 512).empty());
}

// --totalloop, whole copies of one thread and threads that do not fit are
// run end to end; here the edges.
TEST(FileFill, ThreadsFitAndCopies) {
    EXPECT_TRUE(zel::threadsFit(4 * kMiB, 4, kMiB));
    EXPECT_FALSE(zel::threadsFit(4 * kMiB - 1, 4, kMiB)) << "each thread needs a whole unit at the same time";
    EXPECT_FALSE(zel::threadsFit(kMiB, 0, 1));
    EXPECT_EQ(zel::copiesPerThread(job({kPercent, 100}), 10 * kMiB, 2, kMiB), 5u) << "the threads share the coverage";
    EXPECT_EQ(zel::copiesPerThread(job({kPercent, 100}), kMiB, 2, 0), 1u) << "an empty source";
}
