#pragma once

#include <cstdint>
#include <vector>

#include "io/RwJob.h"

namespace zel {

// A volume as the file modes see it, in bytes.
struct VolumeBytes {
    uint64_t total = 0;
    uint64_t free = 0;
};

// How much a file-level run writes on one volume: --size of the volume's
// total (of its free space with --freespace), less the data already on it
// with --includedata (not with --freespace, whose basis holds no data);
// never more than the free space, in whole sectors. A zero size picks at
// random as the LBA modes do.
uint64_t fileRunBytes(const RwJob& job, uint32_t sectorSize, const VolumeBytes& volume, uint64_t random);

// Precondition files are at most this long, so every file system takes them.
constexpr uint64_t kFillFileMaxBytes = 1ull << 30;

// One fill file "<letter>:\ZEL_FILEIO_<index>" and the thread that writes it.
struct FillFile {
    uint32_t index = 0;
    uint32_t thread = 0;  // 1-based
    uint64_t bytes = 0;
};

// The files of one volume's fill: numbered from 0, all of one length (an
// equal share of the threads, at most kFillFileMaxBytes, whole sectors)
// but the last, handed to the threads in turn.
std::vector<FillFile> planFillFiles(uint64_t bytes, uint32_t threads, uint32_t sectorSize);

// Whether each of the threads can hold its unit (a block of a fill file, a
// copy of the source) on the volume at the same time.
bool threadsFit(uint64_t bytes, uint32_t threads, uint64_t unitBytes);

// Copies each thread makes: --totalloop when given, else an equal share of
// the run's bytes in whole copies (one when the source is empty).
uint64_t copiesPerThread(const RwJob& job, uint64_t bytes, uint32_t threads, uint64_t sourceBytes);

}  // namespace zel
