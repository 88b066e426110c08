#include "io/RunFigures.h"

#include "core/TextFormat.h"

namespace zel {

RunFigures runFigures(const LatencyHistogram& latency, uint64_t ios, uint64_t bytes, double seconds,
                      double ticksPerSecond) {
    RunFigures f;
    f.ios = ios;
    f.bytes = bytes;
    f.seconds = seconds;
    if (seconds > 0) {
        f.megabytesPerSecond = static_cast<double>(bytes) / 1e6 / seconds;
        f.iops = static_cast<double>(ios) / seconds;
    }
    f.latencyMeasured = ticksPerSecond > 0 && latency.count() > 0;
    if (!f.latencyMeasured) return f;
    const double micros = 1e6 / ticksPerSecond;
    auto at = [&](double fraction) { return static_cast<double>(latency.percentile(fraction)) * micros; };
    f.minMicros = static_cast<double>(latency.min()) * micros;
    f.meanMicros = latency.mean() * micros;
    f.maxMicros = static_cast<double>(latency.max()) * micros;
    f.p50Micros = at(0.5);
    f.p90Micros = at(0.9);
    f.p99Micros = at(0.99);
    f.p999Micros = at(0.999);
    f.p9999Micros = at(0.9999);
    return f;
}

std::string figuresLine(int thread, const RunFigures& f) {
    const std::string amount = formatText("[T%d] %.1f MB/s, %.0f IOPS, ", thread, f.megabytesPerSecond, f.iops);
    const std::string total = formatText("%llu I/Os, %llu bytes in %.3f s", static_cast<unsigned long long>(f.ios),
                                         static_cast<unsigned long long>(f.bytes), f.seconds);
    if (!f.latencyMeasured) return amount + "latency not measured; " + total;
    return amount +
           formatText("latency p50/p99/max %.1f/%.1f/%.1f us (min %.1f, mean %.1f, p90 %.1f, p99.9 %.1f, "
                      "p99.99 %.1f); ",
                      f.p50Micros, f.p99Micros, f.maxMicros, f.minMicros, f.meanMicros, f.p90Micros, f.p999Micros,
                      f.p9999Micros) +
           total;
}

}  // namespace zel
