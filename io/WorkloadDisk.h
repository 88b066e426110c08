#pragma once

#include <cstdint>
#include <memory>

namespace zel {

class DiskBase;

// The disk as a workload replay drives it. Each call is synchronous and
// answers false with the last error set when the disk refused it.
class IWorkloadDisk {
public:
    virtual ~IWorkloadDisk() = default;
    // data holds sectors whole logical sectors, aligned to 4096 bytes so an
    // unbuffered handle can take it as it is.
    virtual bool writeSectors(uint64_t lba, uint32_t sectors, const uint8_t* data) = 0;
    virtual bool trimSectors(uint64_t lba, uint32_t sectors) = 0;
    virtual bool flush() = 0;
};

// The disk opened for writing without buffering; null with the last error set.
std::unique_ptr<IWorkloadDisk> openWorkloadDisk(const DiskBase& disk);

}  // namespace zel
