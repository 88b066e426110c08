#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/ErrorCodes.h"
#include "core/Uncopyable.h"
#include "disk/DiskTypes.h"

namespace zel {

class IProtocol;

// One physical disk of the host: identity and geometry from the list build,
// the protocol its bus calls for, and the PCIe view of NVMe controllers.
class DiskBase : private Uncopyable {
public:
    explicit DiskBase(const DiskIdentity& identity) : identity_(identity) {}
    virtual ~DiskBase() = default;

    const DiskIdentity& identity() const { return identity_; }
    int number() const { return identity_.number; }
    const std::string& model() const { return identity_.model; }
    const std::string& firmware() const { return identity_.firmware; }
    const std::string& serialNumber() const { return identity_.serial; }
    const std::string& vendor() const { return identity_.vendor; }
    uint32_t busType() const { return identity_.busType; }
    int diskKind() const { return identity_.kind; }
    int protocolType() const { return static_cast<int>(identity_.protocolCode); }
    uint32_t logicalSectorSize() const { return identity_.logicalSectorSize; }
    uint32_t physicalSectorSize() const { return identity_.physicalSectorSize; }
    uint64_t sectorCount() const { return identity_.sectorCount; }
    uint64_t capacity() const { return identity_.capacity; }
    const std::vector<DriveLetter>& driveLetters() const { return identity_.letters; }

    // True when a drive letter of this disk holds the running Windows.
    bool isOsDrive() const;
    // True when the disk's first volume holds it (the rw action's test).
    bool firstVolumeIsOsDrive() const;
    // Sets 0x20000005 and logs the refusal when this is the OS drive.
    bool refuseIfOsDrive() const;

    IProtocol* protocol() const { return protocol_.get(); }
    void attachProtocol(std::shared_ptr<IProtocol> protocol) { protocol_ = std::move(protocol); }

    const std::optional<PcieInfo>& pcieInfo() const { return pcie_; }
    void setPcieInfo(const PcieInfo& info) { pcie_ = info; }

    // Whether the disk can be opened right now.
    bool isPresent() const;
    // One logical sector at LBA 0 (the pattern lookup); false with the last error.
    bool readFirstSector(std::vector<uint8_t>* sector) const;

    // Device commands of the disk's kind; a kind without them answers
    // 0x20000008 (function not supported).
    virtual ErrorCode identify(std::vector<uint8_t>* data);
    virtual ErrorCode readSmartData(std::vector<uint8_t>* sector);
    // SMART RETURN STATUS: true in *exceeded when the drive reports a
    // threshold exceeded condition (LBA mid/high 0xF4/0x2C).
    virtual ErrorCode smartReturnStatus(bool* exceeded);
    // `size` bytes of a log page from byte `offset` of the page. The page is
    // read from byte 0 on every route (the inbox route has no offset field),
    // so offset + size must fit what the route moves; more is refused.
    virtual ErrorCode getLogPage(uint8_t logId, uint32_t size, uint64_t offset, std::vector<uint8_t>* data);
    ErrorCode getLogPage(uint8_t logId, uint32_t size, std::vector<uint8_t>* data) {
        return getLogPage(logId, size, 0, data);
    }

protected:
    DiskIdentity identity_;
    std::shared_ptr<IProtocol> protocol_;
    std::optional<PcieInfo> pcie_;
};

}  // namespace zel
