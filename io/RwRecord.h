#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/ErrorCodes.h"
#include "io/RunFigures.h"
#include "io/RwJob.h"

namespace zel {

// One non-empty latency bucket, its edges in microseconds.
struct LatencyBucket {
    double lowMicros = 0;
    double highMicros = 0;
    uint64_t count = 0;
};

// What one worker of an rw run was asked to do and what it did.
struct RwWorkerRecord {
    uint32_t thread = 0;
    RwMode mode = RwMode::Unknown;
    PatternKind pattern = PatternKind::Unknown;
    uint64_t startLba = 0, endLba = 0;  // the range asked for, end exclusive
    uint64_t stoppedLba = 0;            // where the worker stopped
    uint32_t blockSectors = 0;          // 0: a random length per transfer
    uint32_t queueDepth = 0;
    uint64_t seed = 0;
    RunFigures figures;
    std::vector<LatencyBucket> histogram;
    ErrorCode result = 0;
    bool miscompared = false;
    uint64_t miscompareLba = 0;
    std::vector<std::string> dumpFiles;  // full paths
};

// The rw run as the run record shows it; file-level runs have no workers.
struct RwRunRecord {
    uint32_t sectorSize = 0;
    bool fileLevel = false;
    std::vector<RwWorkerRecord> workers;
};

}  // namespace zel
