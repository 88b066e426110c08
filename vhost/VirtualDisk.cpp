#include "vhost/VirtualDisk.h"

#include <algorithm>

#include "vhost/AtaDevice.h"
#include "vhost/NvmeController.h"
#include "vhost/ScsiTarget.h"

namespace zel {
namespace vhost {

VirtualDisk::VirtualDisk(const DiskDescription& description, HostState& state)
    : description_(description),
      state_(state),
      image_(state.imagePath(description.number), description.capacityBytes),
      faults_(description.faults) {
    if (description_.isAta() || description_.satBridge) ata_ = std::make_unique<AtaDevice>(*this);
    // Every disk answers SCSI pass-through: the port drivers translate for
    // ATA and NVMe disks, a USB bridge may carry ATA PASS-THROUGH.
    scsi_ = std::make_unique<ScsiTarget>(*this, ata_.get());
    if (description_.isNvme()) nvme_ = std::make_unique<NvmeController>(*this);
}

VirtualDisk::~VirtualDisk() = default;

bool VirtualDisk::inRange(uint64_t offset, uint64_t size) const {
    const uint64_t capacity = description_.capacityBytes;
    return offset <= capacity && size <= capacity - offset;
}

VirtualDisk::MediaResult VirtualDisk::readMedia(uint64_t offset, uint8_t* data, uint64_t size) {
    const uint64_t sector = description_.logicalSectorSize;
    const uint64_t lba = offset / sector, count = (size + sector - 1) / sector;
    if (!inRange(offset, size)) return MediaResult::OutOfRange;
    if (faults_.match("media_error", -1, lba, count)) {
        ++counters().mediaErrors;
        ++counters().errorLogEntries;
        countersChanged();
        return MediaResult::MediaError;
    }
    if (faults_.match("crc_error", -1, lba, count)) return MediaResult::CrcError;
    if (!image_.read(offset, data, size)) return MediaResult::OutOfRange;
    if (const FaultDescription* corrupt = faults_.match("corrupt", -1, lba, count)) {
        const uint64_t first = corrupt->count ? std::max(corrupt->lba, lba) : lba;
        const uint64_t last = corrupt->count ? std::min(corrupt->lba + corrupt->count, lba + count) : lba + count;
        for (uint64_t at = first; at < last; ++at) data[(at - lba) * sector] ^= 0xFF;
    }
    counters().bytesRead += size;
    ++counters().readCommands;
    countersChanged();
    return MediaResult::Ok;
}

VirtualDisk::MediaResult VirtualDisk::writeMedia(uint64_t offset, const uint8_t* data, uint64_t size) {
    const uint64_t sector = description_.logicalSectorSize;
    if (!inRange(offset, size)) return MediaResult::OutOfRange;
    if (faults_.match("crc_error", -1, offset / sector, (size + sector - 1) / sector)) return MediaResult::CrcError;
    if (!image_.write(offset, data, size)) return MediaResult::OutOfRange;
    counters().bytesWritten += size;
    ++counters().writeCommands;
    countersChanged();
    return MediaResult::Ok;
}

}  // namespace vhost
}  // namespace zel
