#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "io/LatencyHistogram.h"
#include "io/RunFigures.h"

using zel::LatencyHistogram;

namespace {

std::vector<uint64_t> probeValues() {
    std::vector<uint64_t> values;
    for (uint64_t v = 0; v < 4096; ++v) values.push_back(v);
    for (unsigned bit = 5; bit < 64; ++bit)
        for (int64_t delta : {-1, 0, 1}) values.push_back((uint64_t{1} << bit) + delta);
    values.push_back(UINT64_MAX);
    return values;
}

}  // namespace

// Every value falls in a bucket that holds it, buckets tile the range
// without gaps, and none is wider than 1/32 of the values it holds.
TEST(LatencyHistogram, BucketsTileTheRangeWithinOneThirtySecond) {
    for (uint64_t v : probeValues()) {
        const size_t bucket = LatencyHistogram::bucketOf(v);
        ASSERT_LT(bucket, LatencyHistogram::kBuckets) << v;
        EXPECT_LE(LatencyHistogram::lowerEdge(bucket), v) << v;
        EXPECT_GE(LatencyHistogram::upperEdge(bucket), v) << v;
        EXPECT_LE(LatencyHistogram::upperEdge(bucket) - LatencyHistogram::lowerEdge(bucket), v / 32) << v;
    }
    for (size_t b = 0; b + 1 < LatencyHistogram::kBuckets; ++b)
        ASSERT_EQ(LatencyHistogram::upperEdge(b) + 1, LatencyHistogram::lowerEdge(b + 1)) << b;
}

// Percentiles against the nearest-rank value of the sorted samples: never
// below it, at most one bucket above, never above the largest.
TEST(LatencyHistogram, PercentilesNeverUnderstateAndMergeAddsUp) {
    std::mt19937_64 random(7);
    std::lognormal_distribution<double> spread(9.0, 1.5);
    std::vector<uint64_t> samples;
    LatencyHistogram first, second;
    for (int i = 0; i < 20000; ++i) {
        samples.push_back(static_cast<uint64_t>(spread(random)));
        (i % 3 ? first : second).record(samples.back());
    }
    first.merge(second);
    std::sort(samples.begin(), samples.end());
    EXPECT_EQ(first.count(), samples.size());
    uint64_t counted = 0;
    for (uint64_t c : first.buckets()) counted += c;
    EXPECT_EQ(counted, samples.size());
    EXPECT_EQ(first.min(), samples.front());
    EXPECT_EQ(first.max(), samples.back());
    for (double p : {0.0, 0.5, 0.9, 0.99, 0.999, 0.9999, 1.0}) {
        const size_t rank = std::max<size_t>(1, static_cast<size_t>(std::ceil(p * samples.size() - 1e-9)));
        const uint64_t exact = samples[rank - 1];
        EXPECT_GE(first.percentile(p), exact) << p;
        EXPECT_LE(first.percentile(p), exact + exact / 32) << p;
        EXPECT_LE(first.percentile(p), samples.back()) << p;
    }
    EXPECT_EQ(LatencyHistogram().percentile(0.5), 0u);
}

TEST(RunFigures, OneLinePerWorker) {
    LatencyHistogram latency;
    for (int i = 0; i < 99; ++i) latency.record(1000);
    latency.record(64000);
    // 1e9 ticks a second: a tick is a nanosecond.
    const auto figures = zel::runFigures(latency, 100, 409600, 0.5, 1e9);
    EXPECT_EQ(zel::figuresLine(3, figures),
              "[T3] 0.8 MB/s, 200 IOPS, latency p50/p99/max 1.0/1.0/64.0 us (min 1.0, mean 1.6, p90 1.0, "
              "p99.9 64.0, p99.99 64.0); 100 I/Os, 409600 bytes in 0.500 s");
    EXPECT_EQ(zel::figuresLine(1, zel::runFigures(latency, 100, 409600, 0.5, 0)),
              "[T1] 0.8 MB/s, 200 IOPS, latency not measured; 100 I/Os, 409600 bytes in 0.500 s");
}
