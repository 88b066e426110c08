#pragma once

#include <array>
#include <cstdint>
#include <istream>
#include <memory>
#include <optional>
#include <string>

#include "core/ActionResultJson.h"
#include "io/WorkloadDisk.h"

namespace zel {

enum class WorkloadKind : uint32_t { Write = 1, Read = 2, Trim = 3, Flush = 4 };

struct WorkloadCommand {
    WorkloadKind kind = WorkloadKind::Flush;
    uint64_t lba = 0;
    uint32_t sectors = 0;
};

enum class WorkloadLine { Command, NotACommand, Rejected };

// One line of a workload file: "$write LBA SIZE", "$read LBA SIZE",
// "$trims LBA SIZE" or "$flush ...". Lines not starting with "$" are not
// commands; a rejected line leaves 0x20000140 as the last error.
WorkloadLine parseWorkloadLine(const std::string& line, WorkloadCommand* command);

// Where a command of the given size lands on a disk of totalSectors: one that
// would run past the end is moved to lba mod (total - sectors). Empty when the
// command is larger than the disk.
std::optional<uint64_t> placeWorkloadCommand(uint64_t lba, uint32_t sectors, uint64_t totalSectors);

constexpr size_t kWorkloadBuckets = 100;

struct WorkloadSizeStats {
    uint32_t count = 0;
    uint64_t sectors = 0;
    uint32_t minSize = 0;
    uint32_t maxSize = 0;
    std::array<uint32_t, kWorkloadBuckets> distribution{};
};

struct WorkloadStats {
    WorkloadSizeStats writes;
    WorkloadSizeStats reads;
    WorkloadSizeStats trims;
    uint32_t flushCount = 0;
    uint32_t totalLines = 0;  // commands parsed
};

// Which hundredth of the disk an LBA falls in; the last bucket takes the
// remainder and anything past the end.
size_t workloadBucket(uint64_t lba, uint64_t totalSectors);

struct WorkloadGeometry {
    uint64_t totalSectors = 0;
    uint32_t sectorSize = 512;
};

// Analyses or replays one workload file read from a stream.
class WorkloadRunner {
public:
    explicit WorkloadRunner(std::istream& in) : in_(in) {}

    // Parses every line into the statistics; false with the last error and
    // the failing line logged.
    bool parse(uint64_t totalSectors);
    // Parses, then logs the share of writes, trims and flushes.
    bool analyze(uint64_t totalSectors);
    // Replays the parsed file on the disk; false with the failing command's
    // last error. Call after a successful parse.
    bool execute(IWorkloadDisk& disk, const WorkloadGeometry& geometry);

    bool parsed() const { return parsed_; }
    const WorkloadStats& stats() const { return stats_; }
    uint64_t executedSectorsWritten() const { return executedWritten_; }
    uint64_t executedSectorsTrimmed() const { return executedTrimmed_; }
    // The write buffer of the last replay: largest write times sector size.
    uint64_t bufferBytes() const { return bufferBytes_; }

    // The "workload_info" object; with executedTotals its two sector totals
    // are what the last replay executed, else the file's sums.
    Json workloadInfo(bool executedTotals) const;

private:
    void count(const WorkloadCommand& command, uint64_t totalSectors);
    void logShares() const;
    bool rewind();
    bool readToTheEnd() const;
    bool allocateBuffer(uint64_t bytes);
    bool executeCommand(IWorkloadDisk& disk, const WorkloadCommand& command, uint64_t totalSectors);
    bool issue(IWorkloadDisk& disk, const WorkloadCommand& command, uint64_t totalSectors);

    std::istream& in_;
    WorkloadStats stats_;
    bool parsed_ = false;
    std::unique_ptr<uint8_t[]> bufferStorage_;
    uint8_t* buffer_ = nullptr;
    uint64_t bufferBytes_ = 0;
    uint64_t executedWritten_ = 0;
    uint64_t executedTrimmed_ = 0;
};

}  // namespace zel
