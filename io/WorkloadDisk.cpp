#include "io/WorkloadDisk.h"

#include "io/DiskIo.h"

namespace zel {
namespace {

// Replays through the same single transfers the rw engine uses.
class WorkloadDiskOnDrive : public IWorkloadDisk {
public:
    explicit WorkloadDiskOnDrive(const DiskBase& disk) : io_(disk) {}
    bool open() { return io_.open(openflag::kNoBuffering); }

    bool writeSectors(uint64_t lba, uint32_t sectors, const uint8_t* data) override {
        return io_.transfer(true, {lba, sectors}, const_cast<uint8_t*>(data));
    }
    bool trimSectors(uint64_t lba, uint32_t sectors) override { return io_.trim({{lba, sectors}}); }
    bool flush() override { return io_.flush(); }

private:
    DiskIo io_;
};

}  // namespace

std::unique_ptr<IWorkloadDisk> openWorkloadDisk(const DiskBase& disk) {
    auto opened = std::make_unique<WorkloadDiskOnDrive>(disk);
    if (!opened->open()) return nullptr;
    return opened;
}

}  // namespace zel
