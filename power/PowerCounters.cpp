#include "power/PowerRecords.h"

namespace zel {

// Every attempt of a flow and every short cycle powers the drive up once;
// the cuts of a ugsd flow and the short cycles are all unsafe, while a gsd
// flow tells the drive before each of its own cuts.
SmartCountersAfterFlow smartCountersAfterFlow(PowerControl control, uint32_t attempts, uint32_t shortCycles) {
    SmartCountersAfterFlow counters;
    const int64_t extraAttempts = attempts > 0 ? static_cast<int64_t>(attempts) - 1 : 0;
    counters.pwrcycleRetry = extraAttempts + shortCycles;
    if (control == PowerControl::Gsd) {
        counters.gsdRetry = extraAttempts;
        // The short cycles' unsafe shutdowns: k - 1 reads as "diff<=k" for
        // k of 2 or more, and 0 as "diff==1".
        if (shortCycles > 0) counters.ugsdRetry = static_cast<int64_t>(shortCycles) - 1;
    } else if (control == PowerControl::Ugsd) {
        counters.ugsdRetry = extraAttempts + shortCycles;
    }
    return counters;
}

}  // namespace zel
