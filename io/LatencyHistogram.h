#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace zel {

// Latencies of one worker in a fixed log-linear histogram: values below
// 2^kSubBits ticks have a bucket each, every power of two above is split in
// 2^kSubBits buckets, so a bucket is at most 1/32 of its value wide. No
// allocation, no lock: one per worker.
class LatencyHistogram {
public:
    static constexpr unsigned kSubBits = 5;
    static constexpr size_t kBuckets = size_t{64 - kSubBits + 1} << kSubBits;

    void record(uint64_t ticks);
    void merge(const LatencyHistogram& other);

    uint64_t count() const { return count_; }
    uint64_t min() const { return count_ ? min_ : 0; }
    uint64_t max() const { return max_; }
    double mean() const { return count_ ? static_cast<double>(sum_) / static_cast<double>(count_) : 0; }
    // The value at or below which that fraction of the latencies lie: the
    // upper edge of its bucket, never above the largest value recorded, so a
    // percentile never understates a latency. 0 when nothing was recorded.
    uint64_t percentile(double fraction) const;

    static size_t bucketOf(uint64_t ticks);
    static uint64_t lowerEdge(size_t bucket);
    static uint64_t upperEdge(size_t bucket);
    const std::array<uint64_t, kBuckets>& buckets() const { return counts_; }

private:
    std::array<uint64_t, kBuckets> counts_{};
    uint64_t count_ = 0;
    uint64_t sum_ = 0;
    uint64_t min_ = UINT64_MAX;
    uint64_t max_ = 0;
};

}  // namespace zel
