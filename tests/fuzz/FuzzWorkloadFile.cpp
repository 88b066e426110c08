#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <numeric>
#include <sstream>
#include <string>

#include "core/ErrorCodes.h"
#include "io/WorkloadRunner.h"

namespace {

// Accepts every command and traps on one that does not land inside the disk.
class BoundsCheckingDisk : public zel::IWorkloadDisk {
public:
    explicit BoundsCheckingDisk(uint64_t total) : total_(total) {}
    bool writeSectors(uint64_t lba, uint32_t sectors, const uint8_t* data) override {
        check(lba, sectors);
        if (sectors && (data[0] != 0xAA || data[uint64_t{sectors} * 512 - 1] != 0x55)) __builtin_trap();
        return true;
    }
    bool trimSectors(uint64_t lba, uint32_t sectors) override {
        check(lba, sectors);
        return true;
    }
    bool flush() override { return true; }

private:
    void check(uint64_t lba, uint32_t sectors) const {
        if (sectors > total_ || lba > total_ - sectors) __builtin_trap();
    }
    uint64_t total_;
};

void checkCounts(const zel::WorkloadSizeStats& stats) {
    const uint64_t bucketed = std::accumulate(stats.distribution.begin(), stats.distribution.end(), uint64_t{0});
    if (bucketed != stats.count || stats.minSize != 0 || stats.sectors > uint64_t{stats.count} * stats.maxSize)
        __builtin_trap();
}

}  // namespace

// Status lines would flood the fuzzer's output.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
    return std::freopen("/dev/null", "w", stdout) ? 0 : 1;
}

// The first byte picks the disk size, the rest is the workload file.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    static const uint64_t kTotals[] = {0, 1, 8, 99, 100, 65536, 1000215216, UINT64_MAX};
    const uint64_t total = kTotals[data[0] % std::size(kTotals)];
    std::istringstream file(std::string(reinterpret_cast<const char*>(data) + 1, size - 1));
    zel::WorkloadRunner runner(file);
    if (!runner.parse(total)) {
        if (zel::lastError() != zel::err::kWorkloadUnknownCommand || runner.stats().totalLines != 0) __builtin_trap();
        return 0;
    }
    const zel::WorkloadStats& stats = runner.stats();
    for (const zel::WorkloadSizeStats* kind : {&stats.writes, &stats.reads, &stats.trims}) checkCounts(*kind);
    if (stats.totalLines != stats.writes.count + stats.reads.count + stats.trims.count + stats.flushCount)
        __builtin_trap();
    if (stats.writes.maxSize > 4096) return 0;  // keeps the buffer small
    BoundsCheckingDisk disk(total);
    if (runner.execute(disk, {total, 512})) {
        if (runner.executedSectorsWritten() != stats.writes.sectors) __builtin_trap();
    } else if (zel::lastError() != zel::err::kLbaOutOfRange) {
        __builtin_trap();
    }
    return 0;
}
