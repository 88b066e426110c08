#pragma once

#include <cstdint>
#include <map>

namespace zel {
namespace vhost {

// A set of LBAs kept as disjoint, non-adjacent ranges, so that a trim of a
// whole disk costs one entry, not one per sector.
class ExtentSet {
public:
    void add(uint64_t start, uint64_t count);
    // True when some of the range was in the set.
    bool remove(uint64_t start, uint64_t count);
    bool empty() const { return ends_.empty(); }

    // Calls visit(start, count) for each part of [start, start + count) in
    // the set, lowest first.
    template <typename Visit>
    void forEachIn(uint64_t start, uint64_t count, Visit visit) const {
        const uint64_t end = start + count;
        for (auto it = firstReaching(start); it != ends_.end() && it->first < end; ++it) {
            const uint64_t from = it->first > start ? it->first : start;
            const uint64_t to = it->second < end ? it->second : end;
            visit(from, to - from);
        }
    }

    // Start -> end (exclusive) of each range.
    const std::map<uint64_t, uint64_t>& ranges() const { return ends_; }

private:
    std::map<uint64_t, uint64_t>::const_iterator firstReaching(uint64_t lba) const;

    std::map<uint64_t, uint64_t> ends_;
};

}  // namespace vhost
}  // namespace zel
