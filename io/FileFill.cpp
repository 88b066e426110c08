#include "io/FileFill.h"

namespace zel {
namespace {

uint64_t percentOf(uint64_t basis, uint64_t percent) {
    return static_cast<uint64_t>(static_cast<unsigned __int128>(basis) * percent / 100);
}

uint64_t coverageBytes(const Coverage& size, uint32_t sectorSize, uint64_t basis, uint64_t random) {
    if (size.unit == Coverage::Unit::Percent) return percentOf(basis, size.value ? size.value : random % 100 + 1);
    const uint64_t sectors = size.unit == Coverage::Unit::Bytes ? size.value / sectorSize : size.value;
    if (sectors) return sectors > UINT64_MAX / sectorSize ? UINT64_MAX : sectors * sectorSize;
    const uint64_t basisSectors = basis / sectorSize;
    return basisSectors ? (random % basisSectors + 1) * sectorSize : 0;
}

}  // namespace

uint64_t fileRunBytes(const RwJob& job, uint32_t sectorSize, const VolumeBytes& volume, uint64_t random) {
    const uint64_t free = volume.free < volume.total ? volume.free : volume.total;
    uint64_t bytes = coverageBytes(job.size, sectorSize, job.freeSpace ? free : volume.total, random);
    if (job.includeData && !job.freeSpace) {
        const uint64_t used = volume.total - free;
        bytes = bytes > used ? bytes - used : 0;
    }
    if (bytes > free) bytes = free;
    return bytes / sectorSize * sectorSize;
}

std::vector<FillFile> planFillFiles(uint64_t bytes, uint32_t threads, uint32_t sectorSize) {
    std::vector<FillFile> files;
    if (bytes == 0 || threads == 0) return files;
    uint64_t share = (bytes / threads + sectorSize - 1) / sectorSize * sectorSize;
    if (share > kFillFileMaxBytes) share = kFillFileMaxBytes;
    if (share == 0) share = sectorSize;
    uint32_t index = 0;
    for (uint64_t done = 0; done < bytes; done += share, ++index) {
        const uint64_t length = bytes - done < share ? bytes - done : share;
        files.push_back({index, index % threads + 1, length});
    }
    return files;
}

bool threadsFit(uint64_t bytes, uint32_t threads, uint64_t unitBytes) {
    return threads != 0 && bytes / threads >= unitBytes;
}

uint64_t copiesPerThread(const RwJob& job, uint64_t bytes, uint32_t threads, uint64_t sourceBytes) {
    if (job.totalLoops) return job.totalLoops;
    if (sourceBytes == 0 || threads == 0) return 1;
    return bytes / threads / sourceBytes;
}

}  // namespace zel
