#pragma once

#include <cstdint>
#include <optional>
#include <vector>

namespace zel {
namespace vhost {

class AtaDevice;
class NvmeBridge;
class PowerBoard;
class VirtualDisk;

struct ScsiResult {
    uint8_t status = 0;       // 0 GOOD, 2 CHECK CONDITION
    uint8_t sense[18] = {};   // fixed format
    uint32_t senseLength = 0;
    uint32_t transferred = 0;
};

// A USB disk's SCSI target; with a SAT bridge, ATA PASS-THROUGH (12) and
// (16) reach the ATA device behind it; with an NVMe bridge, CDB A1h is its
// tunnel.
class ScsiTarget {
public:
    ScsiTarget(VirtualDisk& disk, AtaDevice* bridged, NvmeBridge* nvmeBridge)
        : disk_(disk), bridged_(bridged), nvmeBridge_(nvmeBridge) {}

    ScsiResult execute(const uint8_t* cdb, uint8_t cdbLength, uint8_t* data, uint32_t size);
    // A power-switch board answering on this disk takes its commands first.
    void attachBoard(PowerBoard* board) { board_ = board; }

    const std::vector<uint8_t>& lastCdb() const { return last_; }

private:
    ScsiResult inquiry(const uint8_t* cdb, uint8_t* data, uint32_t size);
    ScsiResult readCapacity(bool sixteen, uint8_t* data, uint32_t size);
    ScsiResult readWrite(uint64_t lba, uint32_t blocks, bool write, uint8_t* data, uint32_t size,
                         bool forceUnitAccess = false);
    ScsiResult ataPassThrough(const uint8_t* cdb, uint8_t* data, uint32_t size);

    VirtualDisk& disk_;
    AtaDevice* bridged_;
    NvmeBridge* nvmeBridge_;
    PowerBoard* board_ = nullptr;
    std::vector<uint8_t> last_;
};

ScsiResult checkCondition(uint8_t key, uint8_t asc, uint8_t ascq);

}  // namespace vhost
}  // namespace zel
