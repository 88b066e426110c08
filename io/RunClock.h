#pragma once

#include <x86intrin.h>

#include <chrono>
#include <cstdint>

namespace zel {

// Time stamps of single I/Os: the processor's cycle counter, a few
// nanoseconds to read where QueryPerformanceCounter costs some 120 under
// Wine. The steady clock, read at the start and the end of a run, converts
// its ticks to time.
inline uint64_t cycleTicks() { return __rdtsc(); }

class RunClock {
public:
    void start() {
        steadyStart_ = std::chrono::steady_clock::now();
        ticksStart_ = cycleTicks();
    }
    void stop() {
        steadyStop_ = std::chrono::steady_clock::now();
        ticksStop_ = cycleTicks();
    }
    double seconds() const { return std::chrono::duration<double>(steadyStop_ - steadyStart_).count(); }
    // 0 when the run was too short to tell.
    double ticksPerSecond() const {
        const double span = seconds();
        return span > 0 && ticksStop_ > ticksStart_ ? static_cast<double>(ticksStop_ - ticksStart_) / span : 0;
    }

private:
    std::chrono::steady_clock::time_point steadyStart_{}, steadyStop_{};
    uint64_t ticksStart_ = 0, ticksStop_ = 0;
};

}  // namespace zel
