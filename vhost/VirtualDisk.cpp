#include "vhost/VirtualDisk.h"

#include <algorithm>
#include <cstring>

#include "vhost/AtaDevice.h"
#include "vhost/DeviceData.h"
#include "vhost/NvmeBridge.h"
#include "vhost/NvmeController.h"
#include "vhost/PowerBoard.h"
#include "vhost/ScsiTarget.h"

namespace zel {
namespace vhost {
namespace {

constexpr uint32_t kErrorIoDevice = 1117;  // ERROR_IO_DEVICE: a board that fails its command
constexpr uint64_t kMarkerOffset = 3584;

}  // namespace

VirtualDisk::VirtualDisk(const DiskDescription& description, HostState& state)
    : description_(description),
      state_(state),
      image_(state.imagePath(description.number), description.capacityBytes),
      faults_(description.faults),
      registers_(description.shutdownAttempts),
      random_(static_cast<unsigned>(description.number) + 1) {
    if (description_.writeCache != "none" && !description_.dataless)
        cache_ = std::make_unique<WriteCache>(state.folder() + "/disk" + std::to_string(description.number) +
                                                  ".unflushed",
                                              description_.logicalSectorSize, description_.writeCache == "torn");
    if (description_.isAta() || description_.satBridge) ata_ = std::make_unique<AtaDevice>(*this);
    if (description_.isNvme() || description_.nvmeBridge) nvme_ = std::make_unique<NvmeController>(*this);
    if (description_.nvmeBridge) nvmeBridge_ = std::make_unique<NvmeBridge>(*nvme_);
    // Every disk answers SCSI pass-through: the port drivers translate for
    // ATA and NVMe disks, a USB bridge may carry ATA PASS-THROUGH or an NVMe tunnel.
    scsi_ = std::make_unique<ScsiTarget>(*this, ata_.get(), nvmeBridge_.get());
}

VirtualDisk::~VirtualDisk() = default;

void VirtualDisk::countPowerCycle(PowerLoss loss) {
    DiskCounters& c = counters();
    ++c.powerCycles;
    if (loss == PowerLoss::Unsafe) ++c.unsafeShutdowns;
    countersChanged();
}

bool VirtualDisk::admitRequest() {
    if (vanished_ || !counters().powered) return false;
    const FaultDescription* vanish = faults_.find("vanish");
    if (vanish && requests_ >= vanish->after) {
        vanished_ = true;
        return false;
    }
    ++requests_;
    return true;
}

std::chrono::microseconds VirtualDisk::nextLatency() {
    const uint32_t low = description_.latencyMinMicros, high = description_.latencyMaxMicros;
    if (low >= high) return std::chrono::microseconds(low);
    return std::chrono::microseconds(std::uniform_int_distribution<uint32_t>(low, high)(random_));
}

bool VirtualDisk::inRange(uint64_t offset, uint64_t size) const {
    const uint64_t capacity = description_.capacityBytes;
    return offset <= capacity && size <= capacity - offset;
}

bool VirtualDisk::holdsSectors(uint64_t lba, uint64_t count) const {
    const uint64_t sectors = description_.sectorCount();
    return lba <= sectors && count <= sectors - lba;
}

void VirtualDisk::countTransfer(uint64_t size, bool write) {
    DiskCounters& c = counters();
    (write ? c.bytesWritten : c.bytesRead) += size;
    ++(write ? c.writeCommands : c.readCommands);
    countersChanged();
}

// Reading zeros implies determinism; a disk with neither returns whatever
// it likes, here something new on every read.
void VirtualDisk::fillTrimmed(uint8_t* data, uint64_t size) {
    const TrimBehaviour& trim = description_.trim;
    if (trim.readsZeros)
        std::memset(data, 0, size);
    else if (trim.deterministic)
        std::memset(data, kTrimPatternByte, size);
    else
        for (uint64_t i = 0; i < size; ++i) data[i] = static_cast<uint8_t>(random_() >> 8);
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
    if (description_.dataless) {
        std::memset(data, 0, size);
    } else {
        if (!image_.read(offset, data, size)) return MediaResult::OutOfRange;
        state_.trimmed(number()).forEachIn(lba, count, [&](uint64_t at, uint64_t sectors) {
            const uint64_t from = (at - lba) * sector;
            fillTrimmed(data + from, std::min(sectors * sector, size - from));
        });
    }
    if (const FaultDescription* corrupt = faults_.match("corrupt", -1, lba, count)) {
        const uint64_t first = corrupt->count ? std::max(corrupt->lba, lba) : lba;
        const uint64_t last = corrupt->count ? std::min(corrupt->lba + corrupt->count, lba + count) : lba + count;
        for (uint64_t at = first; at < last; ++at) data[(at - lba) * sector] ^= 0xFF;
    }
    countTransfer(size, false);
    return MediaResult::Ok;
}

VirtualDisk::MediaResult VirtualDisk::writeMedia(uint64_t offset, const uint8_t* data, uint64_t size,
                                                 uint32_t* windowsError, bool forceUnitAccess) {
    const uint64_t sector = description_.logicalSectorSize;
    const uint64_t lba = offset / sector, count = (size + sector - 1) / sector;
    if (!inRange(offset, size)) return MediaResult::OutOfRange;
    if (faults_.match("crc_error", -1, lba, count)) return MediaResult::CrcError;
    if (const FaultDescription* fault = faults_.match("write_error", -1, lba, count)) {
        if (windowsError) *windowsError = fault->windowsError;
        return MediaResult::WriteFault;
    }
    if (boardRefusesMarker(offset, data, size)) {
        if (windowsError) *windowsError = kErrorIoDevice;
        return MediaResult::WriteFault;
    }
    flushedSinceWrite_ = false;
    readyForCut_ = false;
    if (!description_.dataless) {
        if (cache_ && !cache_->beforeWrite(image_, lba, count)) return MediaResult::OutOfRange;
        if (!image_.write(offset, data, size)) return MediaResult::OutOfRange;
        if (cache_ && forceUnitAccess) cache_->madeDurable(lba, count);
        if (state_.trimmed(number()).remove(lba, count)) state_.trimmedChanged(number());
    }
    countTransfer(size, true);
    return MediaResult::Ok;
}

bool VirtualDisk::trimMedia(uint64_t lba, uint64_t count) {
    if (!holdsSectors(lba, count)) return false;
    if (description_.dataless || count == 0) return true;
    state_.trimmed(number()).add(lba, count);
    state_.trimmedChanged(number());
    return true;
}

bool VirtualDisk::boardRefusesMarker(uint64_t offset, const uint8_t* data, uint64_t size) {
    if (!board_ || offset > kMarkerOffset || offset + size < kMarkerOffset + 512) return false;
    return !board_->markerWritten(data + (kMarkerOffset - offset));
}

bool VirtualDisk::poweredAndReady() {
    const DiskCounters& c = counters();
    return c.powered && (c.readyAt == 0 || state_.nowMillis() >= c.readyAt);
}

bool VirtualDisk::flushMedia() {
    if (cache_) cache_->flush();
    flushedSinceWrite_ = true;
    return image_.flush();
}

void VirtualDisk::standby() { readyForCut_ = flushedSinceWrite_; }

uint32_t VirtualDisk::readControllerRegister(uint32_t offset) {
    return counters().powered ? registers_.read(offset) : 0xFFFFFFFF;
}

// A controller that completes its shutdown has written back its cache.
void VirtualDisk::writeControllerRegister(uint32_t offset, uint32_t value) {
    if (!counters().powered) return;
    const bool before = registers_.shutdownComplete();
    registers_.write(offset, value);
    if (registers_.shutdownComplete() && !before) {
        flushMedia();
        readyForCut_ = true;
    } else if (before && !registers_.shutdownComplete()) {
        readyForCut_ = false;  // the host took the notification back
    }
}

void VirtualDisk::cutPower() {
    DiskCounters& c = counters();
    if (!c.powered) return;
    if (!readyForCut_) {
        ++c.unsafeShutdowns;
        if (cache_) cache_->lose(image_);
    }
    image_.flush();
    c.powered = false;
    readyForCut_ = false;
    flushedSinceWrite_ = false;
    registers_.reset();
    countersChanged();
}

void VirtualDisk::restorePower() {
    DiskCounters& c = counters();
    if (c.powered) return;
    c.powered = true;
    ++c.powerCycles;
    c.readyAt = description_.powerOnDelayMs ? state_.nowMillis() + description_.powerOnDelayMs : 0;
    countersChanged();
}

}  // namespace vhost
}  // namespace zel
