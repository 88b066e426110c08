#include "app/ActionRecords.h"

#include "core/RunRecord.h"
#include "core/TextFormat.h"
#include "io/IoWorker.h"

namespace zel {
namespace {

const char* patternName(PatternKind pattern) {
    switch (pattern) {
        case PatternKind::Fixed: return "fixed";
        case PatternKind::Rand: return "rand";
        case PatternKind::Zero: return "zero";
        case PatternKind::Dut: return "dut";
        case PatternKind::Trim: return "trim";
        default: return "unknown";
    }
}

Json resultJson(ErrorCode code) {
    return Json{{"code", code}, {"code_hex", formatText("0x%08X", code)}, {"text", errorText(code)},
                {"passed", code == 0}};
}

Json latencyJson(const RwWorkerRecord& w) {
    const RunFigures& f = w.figures;
    if (!f.latencyMeasured) return nullptr;
    Json histogram = Json::array();
    for (const LatencyBucket& bucket : w.histogram)
        histogram.push_back({{"low_us", bucket.lowMicros}, {"high_us", bucket.highMicros}, {"count", bucket.count}});
    return Json{{"min_us", f.minMicros},
                {"mean_us", f.meanMicros},
                {"max_us", f.maxMicros},
                {"percentiles_us", {{"p50", f.p50Micros}, {"p90", f.p90Micros}, {"p99", f.p99Micros},
                                    {"p99.9", f.p999Micros}, {"p99.99", f.p9999Micros}}},
                {"histogram", histogram}};
}

Json workerJson(const RwWorkerRecord& w, uint32_t sectorSize) {
    const RunFigures& f = w.figures;
    return Json{{"thread", w.thread},
                {"mode", modeName(w.mode)},
                {"pattern", patternName(w.pattern)},
                {"start_lba", w.startLba},
                {"end_lba", w.endLba},
                {"stopped_lba", w.stoppedLba},
                {"block_bytes", uint64_t{w.blockSectors} * sectorSize},
                {"queue_depth", w.queueDepth},
                {"seed", w.seed},
                {"ios", f.ios},
                {"bytes", f.bytes},
                {"seconds", f.seconds},
                {"mb_per_second", f.megabytesPerSecond},
                {"iops", f.iops},
                {"latency", latencyJson(w)},
                {"result", resultJson(w.result)},
                {"miscompare_lba", w.miscompared ? Json(w.miscompareLba) : Json(nullptr)},
                {"dump_files", w.dumpFiles}};
}

Json pairsJson(const TextPairs& pairs) {
    Json object = Json::object();
    for (const auto& [key, value] : pairs) object[key] = value;
    return object;
}

Json timeJson(uint64_t at) { return at ? Json(isoTimeText(at)) : Json(nullptr); }

Json secondsBetween(uint64_t from, uint64_t to) {
    return from && to >= from ? Json(static_cast<double>(to - from) / 1000.0) : Json(nullptr);
}

Json timelineJson(const PowerTimeline& t) {
    return Json{{"off_sent", timeJson(t.offSentAt)},
                {"gone_after_s", secondsBetween(t.offSentAt, t.goneAt)},
                {"on_sent", timeJson(t.onSentAt)},
                {"back_after_s", secondsBetween(t.onSentAt, t.backAt)}};
}

Json countersJson(const std::optional<SmartCountersAfterFlow>& counters) {
    if (!counters) return nullptr;
    Json written = {{"pwrcycle_retry", counters->pwrcycleRetry}};
    if (counters->gsdRetry) written["gsd_retry"] = *counters->gsdRetry;
    if (counters->ugsdRetry) written["ugsd_retry"] = *counters->ugsdRetry;
    return written;
}

Json measurementJson(const std::optional<PowerMeasurement>& m) {
    if (!m) return nullptr;
    return Json{{"voltage_mv", m->millivolts}, {"current_ma", m->milliamps}, {"power_mw", m->milliwatts}};
}

}  // namespace

Json rwRecordJson(const RwRunRecord& record) {
    Json workers = Json::array();
    for (const RwWorkerRecord& w : record.workers) workers.push_back(workerJson(w, record.sectorSize));
    return Json{{"sector_size", record.sectorSize}, {"file_level", record.fileLevel}, {"workers", workers}};
}

Json cmdRecordJson(const CmdRunRecord& record) {
    return Json{{"request", record.planned ? pairsJson(record.request) : Json(nullptr)},
                {"sent", record.sent},
                {"answer", record.sent ? pairsJson(record.answer) : Json(nullptr)},
                {"result", resultJson(record.result)},
                {"problem", record.problem}};
}

Json pwrRecordJson(const PowerRunRecord& record) {
    return Json{{"control", record.control},
                {"board", record.board.empty() ? Json(nullptr)
                                               : Json{{"class", record.board}, {"disk_number", record.boardNumber}}},
                {"graceful", record.graceful},
                {"attempts", record.attempts},
                {"short_cycles", record.shortCycles},
                {"dut_number_after", record.dutNumberAfter},
                {"timeline", timelineJson(record.timeline)},
                {"counters_written", countersJson(record.counters)},
                {"measurement", measurementJson(record.measurement)},
                {"result", resultJson(record.result)}};
}

Json smartRecordJson(const SmartRunRecord& record) {
    Json verdicts = Json::array();
    for (const SmartAttributeVerdict& v : record.verdicts)
        verdicts.push_back({{"id", v.id}, {"conflict", v.conflict}, {"skipped", v.skipped}, {"changed", v.changed}});
    return Json{{"smart_info", record.smartInfo}, {"verdicts", verdicts}, {"result", resultJson(record.result)}};
}

Json wkldRecordJson(const WorkloadRunRecord& record) {
    return Json{{"analyze_only", record.analyzeOnly},
                {"workload_info", record.workloadInfo},
                {"result", resultJson(record.result)}};
}

}  // namespace zel
