#pragma once

#include <cstdint>
#include <vector>

#include "vhost/HostDescription.h"

namespace zel {
namespace vhost {

// Fault kinds of a disk description:
//   ata_error     ATA command ends with STATUS/ERROR as given
//   scsi_check    CHECK CONDITION with the given sense key / ASC / ASCQ
//   nvme_status   NVMe completion with the given status
//   ioctl_error   DeviceIoControl fails with the given Windows error
//   absent        opening the disk fails with ERROR_FILE_NOT_FOUND
//   media_error   reads of the LBA range fail (UNC, MEDIUM ERROR, 0x0281, ERROR_CRC)
//   corrupt       reads of the LBA range return altered data, silently
//   crc_error     ReadFile/WriteFile over the range fail with ERROR_CRC (23)
//   write_error   writes of the range fail (device fault, MEDIUM ERROR, 0x0280, the given Windows error)
//   timeout       the command times out: ERROR_SEM_TIMEOUT on the IOCTL; a read
//                 or write of the range never completes
//   vanish        the disk is gone after the given number of requests
//   bad_descriptor the NVMe storage query returns a descriptor of the given version
class Faults {
public:
    explicit Faults(std::vector<FaultDescription> list) : list_(std::move(list)) {}

    // The first fault of this kind whose filters match; its use is counted.
    const FaultDescription* match(const char* kind, int opcode = -1, uint64_t lba = 0, uint64_t count = 0,
                                  uint32_t ioctl = 0);
    // Faults that name no LBA range, for requests that carry none (IOCTLs).
    const FaultDescription* matchUnranged(const char* kind, int opcode, uint32_t ioctl);
    bool has(const char* kind) const;
    // The first fault of this kind that may still fire; its use is not counted.
    const FaultDescription* find(const char* kind) const;

private:
    std::vector<FaultDescription> list_;
};

}  // namespace vhost
}  // namespace zel
