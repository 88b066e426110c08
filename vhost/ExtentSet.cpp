#include "vhost/ExtentSet.h"

#include <algorithm>
#include <iterator>

namespace zel {
namespace vhost {

// The first range that ends after lba, or the first one after it.
std::map<uint64_t, uint64_t>::const_iterator ExtentSet::firstReaching(uint64_t lba) const {
    auto it = ends_.upper_bound(lba);
    if (it != ends_.begin() && std::prev(it)->second > lba) --it;
    return it;
}

void ExtentSet::add(uint64_t start, uint64_t count) {
    if (count == 0) return;
    uint64_t end = start + count;
    // Ranges that touch the new one merge with it.
    auto it = ends_.upper_bound(start);
    if (it != ends_.begin() && std::prev(it)->second >= start) --it;
    while (it != ends_.end() && it->first <= end) {
        start = std::min(start, it->first);
        end = std::max(end, it->second);
        it = ends_.erase(it);
    }
    ends_.emplace(start, end);
}

bool ExtentSet::remove(uint64_t start, uint64_t count) {
    const uint64_t end = start + count;
    bool changed = false;
    auto it = firstReaching(start);
    while (count != 0 && it != ends_.end() && it->first < end) {
        const uint64_t from = it->first, to = it->second;
        it = ends_.erase(it);
        if (from < start) ends_.emplace(from, start);
        if (to > end) ends_.emplace(end, to);
        changed = true;
    }
    return changed;
}

}  // namespace vhost
}  // namespace zel
