#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "io/RwSetup.h"
#include "io/TransferPlan.h"
#include "io/VendorRanges.h"

namespace {

zel::RwJob job(uint64_t start, zel::Coverage size, uint32_t bs = 131072, uint32_t align = 0, uint32_t qd = 1) {
    zel::RwJob j;
    j.startLba = start, j.size = size, j.blockBytes = bs, j.alignBytes = align, j.queueDepth = qd;
    return j;
}

constexpr auto kPercent = zel::Coverage::Unit::Percent;
constexpr auto kSectors = zel::Coverage::Unit::Sectors;
constexpr auto kBytes = zel::Coverage::Unit::Bytes;

}  // namespace

TEST(RwSetup, CoverageAlignmentBlockAndQueueDepth) {
    struct { const char* what; zel::RwJob job; uint64_t random, start, end; uint32_t block, qd, align; } cases[] = {
        {"whole disk by default", job(0, {kPercent, 100}), 0, 0, 10000, 256, 1, 0},
        {"percent of the whole disk, not of what follows start", job(5000, {kPercent, 50}), 0, 5000, 10000, 256, 1, 0},
        {"0% picks 1..100 from the clock's number", job(0, {kPercent, 0}), 41, 0, 4200, 256, 1, 0},
        {"0 sectors picks 1..total-start", job(100, {kSectors, 0}), 9899, 100, 10000, 256, 1, 0},
        {"bytes when the text does not end in a digit", job(0, {kBytes, 4096}), 0, 0, 8, 8, 1, 0},
        {"a block below one sector becomes one", job(0, {kSectors, 64}, 100), 0, 0, 64, 1, 1, 0},
        {"align 4096 rounds start, block and end up", job(3, {kSectors, 13}, 1000, 4096), 0, 8, 24, 8, 1, 8},
        {"queue depth limited to whole blocks in the range", job(0, {kSectors, 1024}, 131072, 0, 32), 0, 0, 1024, 256,
         4, 0},
    };
    for (const auto& c : cases) {
        zel::RwSetup setup;
        ASSERT_TRUE(zel::normaliseRw(c.job, 512, 10000, c.random, 4, &setup)) << c.what;
        const std::vector<uint64_t> got{setup.startLba, setup.endLba, setup.blockSectors, setup.queueDepth, setup.alignSectors};
        EXPECT_EQ(got, (std::vector<uint64_t>{c.start, c.end, c.block, c.qd, c.align})) << c.what;
    }
    zel::RwSetup pulled;
    ASSERT_TRUE(zel::normaliseRw(job(9990, {kPercent, 100}, 4096, 4096), 512, 10003, 0, 4, &pulled));
    // An end rounded past the disk is pulled back by the alignment.
    EXPECT_EQ((std::vector<uint64_t>{pulled.startLba, pulled.endLba}), (std::vector<uint64_t>{9992, 10000}));

    zel::RwSetup past;
    EXPECT_FALSE(zel::normaliseRw(job(10000, {kPercent, 100}), 512, 10000, 0, 4, &past));
    EXPECT_FALSE(zel::normaliseRw(job(9999, {kPercent, 100}, 4096, 4096), 512, 10000, 0, 4, &past))
        << "the aligned start passes the disk";
}

// Ranges of 2^32 sectors and more, --bs 0, a --size below one sector, one
// thread per processor and a range pulled back to nothing are run end to end
// (RwEndToEnd); here the picks and the slicing no run shows.
TEST(RwSetup, RandomPicksAndOneSliceForTheFirstThread) {
    // threads: asked for, 0 one per processor; workers: the count kept.
    struct { const char* what; zel::RwJob job; uint32_t threads; uint64_t end; uint32_t block, workers; } cases[] = {
        {"bs 0 with alignment stays random", job(0, {kSectors, 4096}, 0, 4096), 1, 4096, 0, 1},
        {"0 bytes ask for a random count themselves", job(0, {kBytes, 0}), 1, 9999, 256, 1},
        {"one sector of bytes is one sector", job(0, {kBytes, 512}), 1, 1, 1, 1},
        {"0 threads: one per processor, the first slice takes the range", job(0, {kSectors, 4096}), 0, 4096, 256, 4},
        {"a range shorter than a block shrinks it and forces one thread", job(0, {kSectors, 100}), 0, 100, 100, 1},
    };
    for (auto& c : cases) {
        c.job.threadCount = c.threads;
        zel::RwSetup setup;
        ASSERT_TRUE(zel::normaliseRw(c.job, 512, 10000, 9998, 4, &setup)) << c.what;
        // end, block, threads, and one slice as long as the range
        const auto slices = zel::sliceRange(setup);
        const std::vector<uint64_t> got{setup.endLba, setup.blockSectors, setup.threadCount, slices.size(),
                                        slices.empty() ? 0 : slices[0].end};
        EXPECT_EQ(got, (std::vector<uint64_t>{c.end, c.block, c.workers, 1, c.end})) << c.what;
    }
}

TEST(TransferPlan, RandomLengthsStayInsideTheirBounds) {
    uint64_t state = 99;
    auto lcg = [&] { return state = state * 6364136223846793005ULL + 1442695040888963407ULL; };
    struct Case { uint32_t unit, max; } cases[] = {{1, 2048}, {8, 2048}, {3, 2048}, {4096, 2048}};
    for (const Case& c : cases) {
        zel::SequentialPlan plan(0, 1u << 20, zel::TransferSizer(0, c.unit, c.max, lcg));
        const uint32_t largest = zel::TransferSizer(0, c.unit, c.max, lcg).largest();
        EXPECT_LE(largest, std::max(c.max, c.unit)) << c.unit;
        std::set<uint32_t> lengths;
        zel::Transfer t;
        uint64_t next = 0;
        while (plan.next(&t)) {
            EXPECT_EQ(t.lba, next) << "sequential without holes";
            next = t.lba + t.sectors;
            if (next == 1u << 20) break;  // the last one is cut at the end
            EXPECT_EQ(t.sectors % c.unit, 0u) << c.unit;
            EXPECT_LE(t.sectors, largest) << c.unit;
            lengths.insert(t.sectors);
        }
        EXPECT_EQ(next, 1u << 20) << c.unit;
        EXPECT_GT(lengths.size(), c.unit >= c.max ? 0u : 10u) << c.unit << ": lengths vary";
    }
}

// Sequential and gap plans are run end to end (RwEndToEnd); here the random
// plan's bounds, alignment and loop limit.
TEST(TransferPlan, RandomVisitsStayInTheRangeAligned) {
    auto collect = [](zel::TransferPlan& plan) {
        std::vector<std::pair<uint64_t, uint32_t>> out;
        zel::Transfer t;
        while (plan.next(&t)) out.emplace_back(t.lba, t.sectors);
        return out;
    };
    uint64_t state = 12345;
    zel::RandomPlan random(100, 200, 0, 8, 16, {50, 0, false}, [&] { return state = state * 6364136223846793005ULL + 1; });
    auto transfers = collect(random);
    EXPECT_EQ(transfers.size(), 50u) << "the loop limit";
    for (auto [lba, sectors] : transfers) {
        // Inside [100, 200), aligned from the start, 1 to 16 sectors long.
        EXPECT_TRUE(lba >= 100 && lba + sectors <= 200 && (lba - 100) % 8 == 0 && sectors >= 1 && sectors <= 16)
            << lba << "+" << sectors;
    }
    zel::RandomPlan onePass(0, 64, 8, 0, 16, {}, [&] { return state++; });
    EXPECT_EQ(collect(onePass).size(), 8u) << "no limit: one pass worth of blocks";
}

// Good answers are run end to end (DmaAndVendorWriteTrim); here the refusals.
TEST(VendorRanges, ACountPastTheDataOrAnUnknownOpIsRefused) {
    uint8_t data[8 + 2 * 16] = {2};
    data[20] = 1;  // write
    data[36] = 2;  // trim
    std::vector<zel::VendorRange> ranges;
    ASSERT_TRUE(zel::parseVendorRanges(data, sizeof data, &ranges));
    data[0] = 3;
    EXPECT_FALSE(zel::parseVendorRanges(data, sizeof data, &ranges)) << "a count past the data";
    data[0] = 2;
    data[36] = 7;
    EXPECT_FALSE(zel::parseVendorRanges(data, sizeof data, &ranges)) << "an unknown op";
}
