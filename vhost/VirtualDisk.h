#pragma once

#include <memory>

#include "vhost/DiskImage.h"
#include "vhost/Faults.h"
#include "vhost/HostDescription.h"
#include "vhost/HostState.h"

namespace zel {
namespace vhost {

class AtaDevice;
class ScsiTarget;
class NvmeController;

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
    Faults& faults() { return faults_; }
    // Not visible on the host: absent, or without power.
    bool hidden() { return description_.absent || faults_.has("absent") || !counters().powered; }

    AtaDevice* ata() { return ata_.get(); }
    ScsiTarget* scsi() { return scsi_.get(); }
    NvmeController* nvme() { return nvme_.get(); }

    // Media access shared by every route, in bytes; applies the media faults.
    enum class MediaResult { Ok, OutOfRange, MediaError, CrcError };
    bool inRange(uint64_t offset, uint64_t size) const;
    MediaResult readMedia(uint64_t offset, uint8_t* data, uint64_t size);
    MediaResult writeMedia(uint64_t offset, const uint8_t* data, uint64_t size);

private:
    DiskDescription description_;
    HostState& state_;
    DiskImage image_;
    Faults faults_;
    std::unique_ptr<AtaDevice> ata_;
    std::unique_ptr<ScsiTarget> scsi_;
    std::unique_ptr<NvmeController> nvme_;
};

}  // namespace vhost
}  // namespace zel
