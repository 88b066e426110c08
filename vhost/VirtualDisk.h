#pragma once

#include <chrono>
#include <memory>
#include <random>

#include "vhost/DiskImage.h"
#include "vhost/Faults.h"
#include "vhost/HostDescription.h"
#include "vhost/HostState.h"
#include "vhost/NvmeRegisters.h"
#include "vhost/WriteCache.h"

namespace zel {
namespace vhost {

class AtaDevice;
class ScsiTarget;
class NvmeBridge;
class NvmeController;
class PowerBoard;

// How a disk lost its power: after a shutdown notification or an orderly
// operating-system shutdown, or abruptly.
enum class PowerLoss { Graceful, Unsafe };

// One disk of the host: its description, contents, counters and faults,
// and the device that answers its commands (ATA, SCSI or NVMe).
class VirtualDisk {
public:
    VirtualDisk(const DiskDescription& description, HostState& state);
    ~VirtualDisk();

    const DiskDescription& description() const { return description_; }
    int number() const { return description_.number; }
    DiskImage& image() { return image_; }
    DiskCounters& counters() { return state_.counters(description_.number); }
    void countersChanged() { state_.touch(); }
    int64_t now() const { return state_.now(); }
    Faults& faults() { return faults_; }
    // Not visible on the host: absent, gone, or without power.
    bool hidden() {
        return description_.absent || faults_.has("absent") || vanished_ || controllerOff_ || !poweredAndReady();
    }
    // One power cycle, off and on again: counts powerCycles, and an unsafe
    // loss also unsafeShutdowns. Every power transition of the host and of
    // the power switches counts through here.
    void countPowerCycle(PowerLoss loss);
    // Its controller was disabled or removed (devcon).
    void setControllerOff(bool off) { controllerOff_ = off; }
    bool controllerOff() const { return controllerOff_; }
    // Counts one request; false once a vanish fault has taken the disk away
    // or while the disk has no power.
    bool admitRequest();

    // Power, as the power-switch boards switch it. A cut is graceful when
    // the drive was told first: FLUSH CACHE then STANDBY IMMEDIATE (or
    // START STOP UNIT), or an NVMe shutdown notification that completed;
    // else it counts an unsafe shutdown and loses unflushed writes. Each
    // restore counts a power cycle.
    bool poweredAndReady();
    void cutPower();
    void restorePower();
    bool flushMedia();
    void standby();
    // BAR0 registers of an NVMe controller; all ones without power.
    uint32_t readControllerRegister(uint32_t offset);
    void writeControllerRegister(uint32_t offset, uint32_t value);
    // The controller's registers as at power-on (a host power transition).
    void resetController() { registers_.reset(); }
    // The marker sector of a first-generation PCIe board reaches its board.
    void attachBoard(PowerBoard* board) { board_ = board; }
    bool vanished() const { return vanished_; }
    // How long the next read or write takes, from the description's bounds.
    std::chrono::microseconds nextLatency();

    AtaDevice* ata() { return ata_.get(); }
    ScsiTarget* scsi() { return scsi_.get(); }
    NvmeController* nvme() { return nvme_.get(); }
    NvmeBridge* nvmeBridge() { return nvmeBridge_.get(); }

    // Media access shared by every route, in bytes; applies the media faults
    // and what trimmed sectors read as. A write fault names its Windows error.
    enum class MediaResult { Ok, OutOfRange, MediaError, CrcError, WriteFault };
    bool inRange(uint64_t offset, uint64_t size) const;
    bool holdsSectors(uint64_t lba, uint64_t count) const;
    MediaResult readMedia(uint64_t offset, uint8_t* data, uint64_t size);
    // forceUnitAccess: on the media at once, past the write cache.
    MediaResult writeMedia(uint64_t offset, const uint8_t* data, uint64_t size, uint32_t* windowsError = nullptr,
                           bool forceUnitAccess = false);
    // Trim (DATA SET MANAGEMENT, deallocate, the trim IOCTL), in sectors;
    // false when the range runs past the end.
    bool trimMedia(uint64_t lba, uint64_t count);
    bool trimSupported() const { return description_.trim.supported; }

private:
    void fillTrimmed(uint8_t* data, uint64_t size);
    void countTransfer(uint64_t size, bool write);
    bool boardRefusesMarker(uint64_t offset, const uint8_t* data, uint64_t size);

    DiskDescription description_;
    HostState& state_;
    DiskImage image_;
    Faults faults_;
    std::unique_ptr<AtaDevice> ata_;
    std::unique_ptr<ScsiTarget> scsi_;
    std::unique_ptr<NvmeController> nvme_;
    std::unique_ptr<NvmeBridge> nvmeBridge_;
    uint64_t requests_ = 0;
    bool vanished_ = false;
    bool controllerOff_ = false;
    std::unique_ptr<WriteCache> cache_;
    NvmeRegisters registers_;
    PowerBoard* board_ = nullptr;
    bool flushedSinceWrite_ = false;
    bool readyForCut_ = false;
    std::minstd_rand random_;
};

}  // namespace vhost
}  // namespace zel
