#pragma once

#include <cstdint>
#include <string>

#include "io/LatencyHistogram.h"

namespace zel {

// What a worker's run amounted to: throughput and latency from submit to
// completion. MB are 10^6 bytes; latencies in microseconds.
struct RunFigures {
    uint64_t ios = 0;
    uint64_t bytes = 0;
    double seconds = 0;
    double megabytesPerSecond = 0;
    double iops = 0;
    bool latencyMeasured = false;
    double minMicros = 0, meanMicros = 0, maxMicros = 0;
    double p50Micros = 0, p90Micros = 0, p99Micros = 0, p999Micros = 0, p9999Micros = 0;
};

// ticksPerSecond converts the histogram's ticks; 0 leaves latency unmeasured.
RunFigures runFigures(const LatencyHistogram& latency, uint64_t ios, uint64_t bytes, double seconds,
                      double ticksPerSecond);

// "[T%d] %.1f MB/s, %.0f IOPS, latency p50/p99/max %.1f/%.1f/%.1f us (...)",
// the INFO line a worker logs after its run.
std::string figuresLine(int thread, const RunFigures& figures);

}  // namespace zel
