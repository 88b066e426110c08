#include "io/RwSetup.h"

namespace zel {
namespace {

uint64_t roundUp(uint64_t value, uint64_t multiple) {
    return multiple ? (value + multiple - 1) / multiple * multiple : value;
}

uint64_t coverageEnd(const Coverage& size, uint64_t start, uint32_t sectorSize, uint64_t total, uint64_t random,
                     bool* belowOneSector) {
    uint64_t count = 0;
    if (size.unit == Coverage::Unit::Percent) {
        const uint64_t percent = size.value ? size.value : random % 100 + 1;
        count = percent * total / 100;
    } else {
        count = size.unit == Coverage::Unit::Bytes ? size.value / sectorSize : size.value;
        *belowOneSector = size.unit == Coverage::Unit::Bytes && size.value && !count;
        if (count == 0) count = random % (total - start) + 1;
    }
    return count > total - start ? total : start + count;
}

}  // namespace

bool normaliseRw(const RwJob& job, uint32_t sectorSize, uint64_t totalSectors, uint64_t random, uint32_t processors,
                 RwSetup* setup) {
    RwSetup s;
    s.alignSectors = job.alignBytes / sectorSize;
    s.blockSectors = static_cast<uint32_t>(roundUp(job.blockBytes / sectorSize, s.alignSectors));
    // bs 0 asks for random lengths; a block below one sector is one sector.
    if (s.blockSectors == 0 && job.blockBytes) s.blockSectors = 1;
    s.startLba = roundUp(job.startLba, s.alignSectors);
    if (s.startLba >= totalSectors) {
        *setup = s;
        return false;
    }
    if (job.ioType == IoType::File) s.startLba = 0;
    s.endLba = coverageEnd(job.size, s.startLba, sectorSize, totalSectors, random, &s.sizeBelowOneSector);
    if (s.alignSectors) {
        s.endLba = roundUp(s.endLba, s.alignSectors);
        if (s.endLba > totalSectors) s.endLba -= s.alignSectors;
    }
    const uint64_t range = s.range();
    if (range < s.blockSectors) s.blockSectors = static_cast<uint32_t>(range);
    s.queueDepth = job.queueDepth;
    if (s.blockSectors && range / s.blockSectors < s.queueDepth) s.queueDepth = static_cast<uint32_t>(range / s.blockSectors);
    const uint32_t largestBlock = s.blockSectors ? s.blockSectors : kLargestRandomTransferBytes / sectorSize;
    s.sectionSectors = job.sectionSectors ? job.sectionSectors : largestBlock;
    s.threadCount = job.threadCount ? job.threadCount : processors;
    if (range <= s.blockSectors) s.threadCount = 1;
    *setup = s;
    return true;
}

// Kept exactly: each slice is the whole range long, so the first thread takes
// all of it and a run with more slots fails its wait with the invalid-handle
// error; scripts match that result. Do not split the range evenly.
std::vector<LbaSlice> sliceRange(const RwSetup& setup) {
    const uint64_t range = setup.range();
    std::vector<LbaSlice> slices;
    uint64_t start = setup.startLba;
    for (uint32_t i = 0; i < setup.threadCount && start < setup.endLba; ++i) {
        const uint64_t end = start + range < setup.endLba ? start + range : setup.endLba;
        slices.push_back({start, end});
        start = end;
    }
    return slices;
}

}  // namespace zel
