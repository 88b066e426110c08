#include "io/LatencyHistogram.h"

#include <algorithm>
#include <cmath>

namespace zel {
namespace {

constexpr uint64_t kSubBuckets = uint64_t{1} << LatencyHistogram::kSubBits;

unsigned highestBit(uint64_t value) { return 63u - static_cast<unsigned>(__builtin_clzll(value)); }

}  // namespace

size_t LatencyHistogram::bucketOf(uint64_t ticks) {
    if (ticks < kSubBuckets) return static_cast<size_t>(ticks);
    const unsigned shift = highestBit(ticks) - kSubBits;
    return static_cast<size_t>(((shift + 1) << kSubBits) + ((ticks >> shift) & (kSubBuckets - 1)));
}

uint64_t LatencyHistogram::lowerEdge(size_t bucket) {
    const size_t group = bucket >> kSubBits;
    const uint64_t sub = bucket & (kSubBuckets - 1);
    if (group == 0) return sub;
    return (kSubBuckets + sub) << (group - 1);
}

uint64_t LatencyHistogram::upperEdge(size_t bucket) {
    const size_t group = bucket >> kSubBits;
    if (group == 0) return lowerEdge(bucket);
    return lowerEdge(bucket) + ((uint64_t{1} << (group - 1)) - 1);
}

void LatencyHistogram::record(uint64_t ticks) {
    ++counts_[bucketOf(ticks)];
    ++count_;
    sum_ += ticks;
    min_ = std::min(min_, ticks);
    max_ = std::max(max_, ticks);
}

void LatencyHistogram::merge(const LatencyHistogram& other) {
    for (size_t bucket = 0; bucket < kBuckets; ++bucket) counts_[bucket] += other.counts_[bucket];
    count_ += other.count_;
    sum_ += other.sum_;
    min_ = std::min(min_, other.min_);
    max_ = std::max(max_, other.max_);
}

uint64_t LatencyHistogram::percentile(double fraction) const {
    if (!count_) return 0;
    // The epsilon keeps 0.99 * 100 at rank 99, whatever the rounding of 0.99.
    const double wanted = std::ceil(fraction * static_cast<double>(count_) - 1e-9);
    const uint64_t rank = std::max<uint64_t>(1, std::min<uint64_t>(count_, static_cast<uint64_t>(wanted)));
    uint64_t seen = 0;
    for (size_t bucket = 0; bucket < kBuckets; ++bucket) {
        seen += counts_[bucket];
        if (seen >= rank) return std::min(upperEdge(bucket), max_);
    }
    return max_;
}

}  // namespace zel
