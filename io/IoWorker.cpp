#include "io/IoWorker.h"

#include <cstring>
#include <fstream>
#include <memory>

#include "core/BinaryFile.h"
#include "core/ErrorCodes.h"
#include "core/IniFile.h"
#include "core/Logger.h"
#include "core/ProcessSwitches.h"
#include "core/TextFormat.h"
#include "disk/DiskList.h"
#include "disk/DiskTypes.h"
#include "protocol/ProtocolCode.h"
#include "io/Pattern.h"
#include "io/RwSetup.h"
#include "io/VendorRanges.h"

namespace zel {
namespace {

constexpr size_t kTrimRangesPerRequest = 256;
constexpr uint32_t kTrimRangeSectors = 0x80000000u;

bool fail(ErrorCode code) {
    setLastError(code);
    return false;
}

RwMode modeOf(const IoWorkerParams& p) { return static_cast<RwMode>(p.mode); }

bool isIdentifyBitSet(const std::vector<uint8_t>& words, unsigned word, unsigned bit) {
    return words.size() >= 2 * word + 2 && ((words[2 * word] | words[2 * word + 1] << 8) >> bit & 1);
}

}  // namespace

const char* modeName(RwMode mode) {
    switch (mode) {
        case RwMode::SeqWrite: return "seq write";
        case RwMode::RandWrite: return "rand write";
        case RwMode::GapWrite: return "gap write";
        case RwMode::SeqRead: return "seq read";
        case RwMode::RandRead: return "rand read";
        case RwMode::GapRead: return "gap read";
        case RwMode::SeqTrim: return "seq trim";
        case RwMode::RandTrim: return "rand trim";
        case RwMode::CopyFiles: return "copy files";
        // "wirte" kept exactly: scripts match this text.
        case RwMode::VendorWriteTrim: return "wirte and trim (offset retrieved from VU cmd)";
        default: return "";
    }
}

IoWorker::IoWorker(const IoWorkerParams& params, uint32_t requestTimeoutMs)
    : params_(params), requestTimeoutMs_(requestTimeoutMs), lengths_(params.seed) {}

uint32_t IoWorker::run() {
    logStart();
    DiskBase* disk = DiskList::instance().get(true).findDisk(DiskSelector::byNumber(params_.diskNumber));
    const bool ok = disk ? runMode(*disk) : fail(err::kDiskNotFound);
    const char* name = modeName(modeOf(params_));
    if (transfers_) {
        const ErrorCode code = lastError();
        logInfo("%s", figuresLine(params_.threadIndex, figures()).c_str());
        setLastError(code);
    }
    if (ok) {
        logInfo("[T%d] SUCCESS: %s to disk %d", params_.threadIndex, name, params_.diskNumber);
    } else {
        logWarning("[T%d] FAIL: %s to disk %d at LBA offset %llu... %s", params_.threadIndex, name,
                   params_.diskNumber, static_cast<unsigned long long>(params_.endLba),
                   errorText(lastError()).c_str());
    }
    params_.lastError = ok ? 0 : lastError();
    writeIni();
    return params_.lastError;
}

RunFigures IoWorker::figures() const {
    return runFigures(latency_, transfers_, bytesMoved_, elapsedSeconds_, ticksPerSecond_);
}

std::vector<LatencyBucket> IoWorker::latencyBuckets() const {
    std::vector<LatencyBucket> buckets;
    if (ticksPerSecond_ <= 0) return buckets;
    const double microsPerTick = 1e6 / ticksPerSecond_;
    const auto& counts = latency_.buckets();
    for (size_t i = 0; i < counts.size(); ++i) {
        if (!counts[i]) continue;
        buckets.push_back({static_cast<double>(LatencyHistogram::lowerEdge(i)) * microsPerTick,
                           static_cast<double>(LatencyHistogram::upperEdge(i)) * microsPerTick, counts[i]});
    }
    return buckets;
}

void IoWorker::absorb(const RunReport& report, uint32_t sectorSize) {
    latency_.merge(report.latency);
    transfers_ += report.transfers;
    bytesMoved_ += report.sectors * sectorSize;
    elapsedSeconds_ += report.elapsedSeconds;
    if (report.ticksPerSecond > 0) ticksPerSecond_ = report.ticksPerSecond;
}

void IoWorker::logStart() const {
    const IoWorkerParams& p = params_;
    const char* name = modeName(modeOf(p));
    const auto start = static_cast<unsigned long long>(p.startLba), end = static_cast<unsigned long long>(p.endLba);
    switch (modeOf(p)) {
        case RwMode::GapWrite:
        case RwMode::GapRead:
            logInfo("[T%d] disk %d, QD%d %s, range [%llu, %llu) by block size %u, gap size %u, section size %u",
                    p.threadIndex, p.diskNumber, p.queueDepth, name, start, end, p.blockSectors,
                    static_cast<unsigned>(p.gapSectors), static_cast<unsigned>(p.sectionSectors));
            break;
        case RwMode::SeqTrim: logInfo("[T%d] disk %d, %s, range [%llu, %llu)", p.threadIndex, p.diskNumber, name, start, end); break;
        case RwMode::RandTrim:
            logInfo("[T%d] disk %d, %s, range [%llu, %llu) by block size %u", p.threadIndex, p.diskNumber, name, start,
                    end, p.blockSectors);
            break;
        case RwMode::CopyFiles:
        case RwMode::VendorWriteTrim: logInfo("[T%d] %s from %s", p.threadIndex, name, p.srcPath); break;
        default:
            logInfo("[T%d] disk %d, QD%d %s, range [%llu, %llu) by block size %u", p.threadIndex, p.diskNumber,
                    p.queueDepth, name, start, end, p.blockSectors);
    }
}

DWORD IoWorker::openFlags() const {
    DWORD flags = openflag::kNoBuffering;
    if (params_.dmaFua) flags |= openflag::kWriteThrough;
    if (params_.queueDepth > 1 && !ataDma_) flags |= openflag::kOverlapped;
    return flags;
}

bool IoWorker::runMode(DiskBase& disk) {
    const ProtocolCode route = static_cast<ProtocolCode>(disk.protocolType());
    ataDma_ = params_.dmaFua && (route == ProtocolCode::kAtaOverAta || route == ProtocolCode::kAtaOverUsb);
    DiskIo io(disk);
    if (!io.open(openFlags())) return false;
    const uint32_t sector = io.sectorSize();
    switch (modeOf(params_)) {
        case RwMode::SeqWrite:
        case RwMode::GapWrite: {
            if (!prepareWriteData(sector)) return false;
            SequentialPlan sequential(params_.startLba, params_.endLba, sizer(sector));
            GapPlan gap(params_.startLba, params_.endLba, sizer(sector), params_.sectionSectors, params_.gapSectors);
            if (modeOf(params_) == RwMode::SeqWrite) return runTransfers(io, sequential, true);
            return runTransfers(io, gap, true);
        }
        case RwMode::RandWrite: return prepareWriteData(sector) && runRandom(io, true);
        case RwMode::SeqRead: return runSequentialRead(io, disk);
        case RwMode::RandRead: return runRandom(io, false);
        case RwMode::GapRead: {
            GapPlan gap(params_.startLba, params_.endLba, sizer(sector), params_.sectionSectors, params_.gapSectors);
            return runTransfers(io, gap, false);
        }
        case RwMode::SeqTrim: return runTrim(io, false);
        case RwMode::RandTrim: return runTrim(io, true);
        case RwMode::VendorWriteTrim: return prepareWriteData(sector) && runVendorWriteTrim(io, disk);
        default: return fail(err::kNotSupported);
    }
}

RunSettings IoWorker::settingsFor(bool write, uint32_t maxSectors) const {
    RunSettings settings;
    settings.write = write;
    settings.ataDma = ataDma_;
    settings.queueDepth = params_.queueDepth;
    settings.maxSectors = maxSectors;
    settings.source = data_.data();
    settings.requestTimeoutMs = requestTimeoutMs_;
    settings.label = modeName(modeOf(params_));
    settings.captureLatency = processSwitches().latencyCapture;
    return settings;
}

TransferSizer IoWorker::sizer(uint32_t sectorSize) {
    return TransferSizer(params_.blockSectors, params_.alignSectors, kLargestRandomTransferBytes / sectorSize,
                         [this] { return lengths_.next(); });
}

uint32_t IoWorker::largestTransfer(uint32_t sectorSize) const {
    if (params_.blockSectors) return params_.blockSectors;
    return TransferSizer(0, params_.alignSectors, kLargestRandomTransferBytes / sectorSize, [] { return 0; }).largest();
}

bool IoWorker::runTransfers(DiskIo& io, TransferPlan& plan, bool write) {
    const RunSettings settings = settingsFor(write, largestTransfer(io.sectorSize()));
    RunReport report;
    const bool ok = TransferRunner(io, settings).run(plan, &report);
    absorb(report, io.sectorSize());
    params_.endLba = report.stoppedAt;
    return ok;
}

bool IoWorker::prepareWriteData(uint32_t sectorSize) {
    const std::string metadata(params_.metadata, strnlen(params_.metadata, sizeof params_.metadata));
    image_.assign(sectorSize, 0);
    buildWriteImage(static_cast<PatternKind>(params_.pattern), params_.seed, metadata, image_.data(), sectorSize);
    data_ = AlignedBuffer(size_t{largestTransfer(sectorSize)} * sectorSize);
    replicateImage(image_.data(), sectorSize, data_.data(), data_.size());
    if (params_.outBinPath[0] && !writeBinaryFile(params_.outBinPath, image_.data(), image_.size())) {
        logWarning("[T%d] Cannot write the pattern image to %s", params_.threadIndex, params_.outBinPath);
        return fail(ERROR_WRITE_FAULT);
    }
    return true;
}

// Reads of a trimmed range compare against what the drive promises after a
// trim; otherwise against the image saved by an earlier write (in-bin).
bool IoWorker::prepareExpected(DiskBase& disk, uint32_t sectorSize, CompareMode* mode) {
    const size_t bytes = size_t{largestTransfer(sectorSize)} * sectorSize;
    PatternKind pattern = static_cast<PatternKind>(params_.pattern);
    *mode = CompareMode::None;
    if (pattern == PatternKind::Trim) {
        std::vector<uint8_t> words;
        const bool nvme = disk.diskKind() == diskkind::kNvme;
        // Behind the JMicron bridge identify answers NVMe data, not ATA words.
        const bool ataWords = !nvme && disk.diskKind() != diskkind::kJMicronNvme;
        const bool trims = ataWords && disk.identify(&words) == 0 && isIdentifyBitSet(words, 169, 0);
        if (nvme || (trims && isIdentifyBitSet(words, 69, 5))) {
            pattern = PatternKind::Zero;
        } else if (trims && isIdentifyBitSet(words, 69, 14)) {
            *mode = CompareMode::Deterministic;
            return true;
        } else {
            logWarning("TRIM function is not supported");
            return fail(err::kFunctionNotSupported);
        }
    }
    if (pattern == PatternKind::Zero) {
        data_ = AlignedBuffer(bytes);
        std::memset(data_.data(), 0, bytes);
        *mode = CompareMode::Exact;
        return true;
    }
    if (!params_.inBinPath[0]) return true;
    std::ifstream in(params_.inBinPath, std::ios::binary);
    image_.assign(sectorSize, 0);
    if (!in.read(reinterpret_cast<char*>(image_.data()), sectorSize)) {
        logWarning("[T%d] Cannot read the expected image from %s", params_.threadIndex, params_.inBinPath);
        return fail(ERROR_HANDLE_EOF);
    }
    stampMetadata(image_.data(), image_.size(), std::string(params_.metadata, strnlen(params_.metadata, 32)));
    data_ = AlignedBuffer(bytes);
    replicateImage(image_.data(), sectorSize, data_.data(), bytes);
    *mode = CompareMode::Exact;
    return true;
}

bool IoWorker::runSequentialRead(DiskIo& io, DiskBase& disk) {
    RunSettings settings = settingsFor(false, largestTransfer(io.sectorSize()));
    if (!prepareExpected(disk, io.sectorSize(), &settings.compare)) return false;
    if (settings.compare == CompareMode::None)
        logInfo("[T%d] No --in-bin image to compare with: the data read is not compared",
                params_.threadIndex);
    settings.expected = data_.data();
    SequentialPlan plan(params_.startLba, params_.endLba, sizer(io.sectorSize()));
    RunReport report;
    const bool ok = TransferRunner(io, settings).run(plan, &report);
    absorb(report, io.sectorSize());
    params_.endLba = report.stoppedAt;
    // A CRC read error is reported like a miscompare, on purpose: both mean the
    // sectors did not come back as written.
    if (!ok && (lastError() == err::kMiscompare || lastError() == ERROR_CRC)) reportMiscompare(report);
    return ok;
}

// Both files are written on every miscompare, so none of an earlier run
// remains; one that stays empty gets a line saying why.
void IoWorker::reportMiscompare(const RunReport& report) {
    const ErrorCode code = lastError();
    logWarning("Data miscompare occurs at LBA %lld", static_cast<long long>(params_.endLba));
    const std::string folder = Logger::instance().directory();
    const std::string expectedName = formatText("miscompare-expected_%d.bin", params_.threadIndex);
    const std::string actualName = formatText("miscompare-actual_%d.bin", params_.threadIndex);
    miscompared_ = true;
    miscompareLba_ = params_.endLba;
    dumpFiles_ = {folder + expectedName, folder + actualName};
    writeBinaryFile(folder + expectedName, report.expected.data(), report.expected.size());
    writeBinaryFile(folder + actualName, report.actual.data(), report.actual.size());
    if (code == ERROR_CRC && !report.actual.empty())
        logInfo("[T%d] The read of [%llu, +%u) failed: %s holds the transfer buffer as the failed read left it",
                params_.threadIndex, static_cast<unsigned long long>(report.mismatched.lba), report.mismatched.sectors,
                actualName.c_str());
    if (report.expected.empty())
        logInfo("[T%d] %s is empty: the read had nothing to compare with", params_.threadIndex, expectedName.c_str());
    if (report.actual.empty())
        logInfo("[T%d] %s is empty: no transfer buffer was left", params_.threadIndex, actualName.c_str());
    setLastError(code);
}

bool IoWorker::runRandom(DiskIo& io, bool write) {
    const uint32_t sector = io.sectorSize();
    RandomLimits limits{params_.totalLoops, params_.totalIo / sector, params_.totalTime > 0};
    Sfc64 generator(params_.seed);
    RandomPlan plan(params_.startLba, params_.endLba, params_.blockSectors, params_.alignSectors,
                    largestTransfer(sector), limits, [&generator] { return generator.next(); });
    RunSettings settings = settingsFor(write, largestTransfer(sector));
    settings.timeLimitSeconds = params_.totalTime;
    RunReport report;
    const bool ok = TransferRunner(io, settings).run(plan, &report);
    absorb(report, sector);
    params_.endLba = ok ? params_.endLba : report.stoppedAt;
    params_.totalLoops = static_cast<uint32_t>(report.transfers);
    params_.totalTime = report.seconds;
    params_.totalIo = report.sectors;
    loopsDone_ = params_.totalLoops;
    if (report.seconds > 0) {
        iops_ = static_cast<uint64_t>(report.sectors / report.seconds);
        speed_ = report.sectors * static_cast<double>(sector) / report.seconds;
    }
    return ok;
}

bool IoWorker::runTrim(DiskIo& io, bool random) {
    std::vector<Transfer> batch;
    auto send = [&] {
        const bool ok = batch.empty() || io.trim(batch);
        if (!ok) params_.endLba = batch.front().lba;
        batch.clear();
        return ok;
    };
    if (!random) {
        for (uint64_t lba = params_.startLba; lba < params_.endLba; lba += kTrimRangeSectors)
            batch.push_back({lba, static_cast<uint32_t>(std::min<uint64_t>(kTrimRangeSectors, params_.endLba - lba))});
        return send();
    }
    const uint32_t sector = io.sectorSize();
    Sfc64 generator(params_.seed);
    RandomPlan plan(params_.startLba, params_.endLba, params_.blockSectors, params_.alignSectors,
                    largestTransfer(sector), RandomLimits{params_.totalLoops, params_.totalIo / sector, false},
                    [&generator] { return generator.next(); });
    Transfer transfer;
    while (plan.next(&transfer)) {
        batch.push_back(transfer);
        if (batch.size() == kTrimRangesPerRequest && !send()) return false;
    }
    params_.totalLoops = plan.loops();
    loopsDone_ = plan.loops();
    return send();
}

bool IoWorker::runVendorWriteTrim(DiskIo& io, DiskBase& disk) {
    std::vector<VendorRange> ranges;
    if (!readVendorRanges(disk, &ranges)) return false;
    logInfo("[T%d] The drive asks for %zu ranges", params_.threadIndex, ranges.size());
    for (const VendorRange& range : ranges) {
        params_.endLba = range.lba;
        if (range.lba + range.sectors > io.totalSectors()) return fail(err::kLbaOutOfRange);
        if (range.op == VendorRange::Op::Trim) {
            if (!io.trim({{range.lba, range.sectors}})) return false;
            continue;
        }
        SequentialPlan plan(range.lba, range.lba + range.sectors, sizer(io.sectorSize()));
        if (!runTransfers(io, plan, true)) return false;
    }
    return true;
}

void IoWorker::writeIni() const {
    static const char* const kModeKeys[] = {"write", "randwrite", nullptr, "read", "randread", nullptr,
                                             nullptr, "trim",      "randtrim"};
    const RwMode mode = modeOf(params_);
    const bool writes = mode <= RwMode::GapRead || mode == RwMode::SeqTrim || mode == RwMode::RandTrim;
    if (!params_.outIniPath[0] || !writes) return;
    IniFile ini(params_.outIniPath);
    const std::string section = formatText("t%d", params_.threadIndex);
    if (const char* key = kModeKeys[params_.mode]) ini.writeText(section, "mode", key);
    ini.writeText(section, "seed", formatText("%lld", static_cast<long long>(params_.seed)));
    ini.writeText(section, "iops", formatText("%llu", static_cast<unsigned long long>(iops_)));
    ini.writeText(section, "speed", formatText("%.2lf", speed_));
    ini.writeText(section, "lba_start", formatText("%llu", static_cast<unsigned long long>(params_.startLba)));
    ini.writeText(section, "lba_end", formatText("%llu", static_cast<unsigned long long>(params_.endLba)));
    ini.writeText(section, "rand_loop_count", formatText("%u", loopsDone_));
    ini.writeText(section, "last_error", formatText("%u", lastError()));
}

}  // namespace zel
