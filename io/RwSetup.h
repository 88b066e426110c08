#pragma once

#include <cstdint>
#include <vector>

#include "io/RwJob.h"

namespace zel {

// The longest transfer of --bs 0, whose transfers take random lengths.
constexpr uint32_t kLargestRandomTransferBytes = 1u << 20;

// The rw run's ranges after the options were normalised against the disk:
// alignment, coverage, block and queue-depth adjustments, thread slices.
struct RwSetup {
    uint32_t alignSectors = 0;
    uint32_t blockSectors = 0;  // 0: a random length per transfer (--bs 0)
    uint64_t startLba = 0;
    uint64_t endLba = 0;
    uint32_t queueDepth = 1;
    uint64_t sectionSectors = 0;
    uint32_t threadCount = 1;
    // A --size in bytes that is not zero but less than one sector: it counts
    // as 0, a random count.
    bool sizeBelowOneSector = false;

    uint64_t range() const { return endLba > startLba ? endLba - startLba : 0; }
};

struct LbaSlice {
    uint64_t start = 0;
    uint64_t end = 0;
};

// Steps 4 to 7 of the run: false when the start lies past the disk (the
// caller reports it). random is one output of the clock-seeded generator,
// used only by a random coverage ("0" or "0%").
bool normaliseRw(const RwJob& job, uint32_t sectorSize, uint64_t totalSectors, uint64_t random, uint32_t processors,
                 RwSetup* setup);

// Slices in thread order: each starts where the previous ended, is range
// long and stops at the end; a thread gets one only while its start is
// below the end, so the first thread takes the whole range.
std::vector<LbaSlice> sliceRange(const RwSetup& setup);

}  // namespace zel
