#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "io/Pattern.h"
#include "io/RwJob.h"
#include "io/RunFigures.h"
#include "io/RwRecord.h"
#include "io/TransferRunner.h"

namespace zel {

class DiskBase;

// One worker's parameters, filled by the rw action and copied into the
// worker; the worker writes lastError, endLba (where it stopped),
// totalLoops, totalTime and totalIo back into its copy.
struct IoWorkerParams {
    uint32_t reserved = 0;
    uint32_t threadIndex = 0;
    uint32_t threadCount = 0;
    uint32_t lastError = 0;
    uint8_t diskNumber = 0;
    uint32_t mode = 0;
    uint32_t ioType = 0;
    uint32_t pattern = 0;
    char metadata[32] = {};
    uint64_t startLba = 0;
    uint64_t endLba = 0;
    uint32_t blockSectors = 0;
    uint32_t alignSectors = 0;
    uint64_t sectionSectors = 0;
    uint64_t gapSectors = 0;
    uint32_t queueDepth = 0;
    uint32_t totalLoops = 0;
    double totalTime = 0;
    uint64_t totalIo = 0;
    char srcPath[260] = {};
    char destPath[260] = {};
    char outIniPath[260] = {};
    char outBinPath[260] = {};
    char inBinPath[260] = {};
    uint64_t seed = 0;
    uint8_t dmaFua = 0;
};

// The name of a mode in log lines ("seq write", ...).
const char* modeName(RwMode mode);

// One thread of an rw run: opens its own handle to the disk and runs its
// mode's routine over its range.
class IoWorker {
public:
    IoWorker(const IoWorkerParams& params, uint32_t requestTimeoutMs);

    // The thread's body: logs, runs, writes the per-thread INI section;
    // returns and stores the error code (0 on success).
    uint32_t run();

    const IoWorkerParams& params() const { return params_; }
    uint64_t iops() const { return iops_; }
    double speed() const { return speed_; }
    // Throughput and latency of every transfer the worker made.
    RunFigures figures() const;
    // The latency histogram's non-empty buckets in microseconds (none when
    // latency was not measured).
    std::vector<LatencyBucket> latencyBuckets() const;
    // Set when a read found other data than expected (or a CRC error).
    bool miscompared() const { return miscompared_; }
    uint64_t miscompareLba() const { return miscompareLba_; }
    const std::vector<std::string>& dumpFiles() const { return dumpFiles_; }

private:
    bool runMode(DiskBase& disk);
    RunSettings settingsFor(bool write, uint32_t maxSectors) const;
    // The lengths of the sequential and gap transfers: the block, or random
    // ones with block 0.
    TransferSizer sizer(uint32_t sectorSize);
    uint32_t largestTransfer(uint32_t sectorSize) const;
    bool runTransfers(DiskIo& io, TransferPlan& plan, bool write);
    bool runSequentialRead(DiskIo& io, DiskBase& disk);
    bool runRandom(DiskIo& io, bool write);
    bool runTrim(DiskIo& io, bool random);
    bool runVendorWriteTrim(DiskIo& io, DiskBase& disk);
    bool prepareWriteData(uint32_t sectorSize);
    bool prepareExpected(DiskBase& disk, uint32_t sectorSize, CompareMode* mode);
    void reportMiscompare(const RunReport& report);
    void absorb(const RunReport& report, uint32_t sectorSize);
    void logStart() const;
    void writeIni() const;
    DWORD openFlags() const;

    IoWorkerParams params_;
    uint32_t requestTimeoutMs_;
    bool ataDma_ = false;
    Sfc64 lengths_;  // random transfer lengths (--bs 0)
    std::vector<uint8_t> image_;  // one sector
    AlignedBuffer data_;          // the image replicated over the largest transfer
    uint32_t loopsDone_ = 0;
    uint64_t iops_ = 0;
    double speed_ = 0;
    LatencyHistogram latency_;
    uint64_t transfers_ = 0;
    uint64_t bytesMoved_ = 0;
    double elapsedSeconds_ = 0;
    double ticksPerSecond_ = 0;
    bool miscompared_ = false;
    uint64_t miscompareLba_ = 0;
    std::vector<std::string> dumpFiles_;
};

}  // namespace zel
