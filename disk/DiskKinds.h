#pragma once

#include "disk/DiskBase.h"
#include "protocol/CommandRecords.h"

namespace zel {

// The disk classes the list build creates, one per classification row.
class SataSsd : public DiskBase {
public:
    using DiskBase::DiskBase;
    // ATA IDENTIFY DEVICE, 256 words.
    ErrorCode identify(std::vector<uint8_t>* data) override;
    // SMART READ DATA, one 512-byte sector.
    ErrorCode readSmartData(std::vector<uint8_t>* sector) override;
    ErrorCode smartReturnStatus(bool* exceeded) override;
};

// The identify reads every NVMe disk class has; each class says how an
// admin command reaches its drive.
class NvmeDisk : public DiskBase {
public:
    using DiskBase::DiskBase;
    // Identify controller (CNS 1), 4096 bytes.
    ErrorCode identify(std::vector<uint8_t>* data) override;
    // Identify namespace (CNS 0), 4096 bytes.
    ErrorCode identifyNamespace(uint32_t nsid, std::vector<uint8_t>* data);

protected:
    // One admin command that moves `size` bytes from the drive into data.
    virtual ErrorCode readAdmin(NvmeCommand& command, std::vector<uint8_t>* data, uint32_t size) = 0;
};

class NvmeSsd : public NvmeDisk {
public:
    using NvmeDisk::NvmeDisk;
    using DiskBase::getLogPage;
    ErrorCode getLogPage(uint8_t logId, uint32_t size, uint64_t offset, std::vector<uint8_t>* data) override;
    // A vendor admin command that returns data, for namespace 1, with the
    // transfer's dword count minus one in CDW10 as Get Log Page has it.
    ErrorCode readVendorData(uint8_t opcode, uint32_t size, std::vector<uint8_t>* data);

protected:
    ErrorCode readAdmin(NvmeCommand& command, std::vector<uint8_t>* data, uint32_t size) override;
};

class Ufd : public DiskBase {
public:
    using DiskBase::DiskBase;
    // SMART READ DATA wrapped in a SAT ATA PASS-THROUGH CDB, for SATA drives
    // behind USB bridges; a bridge without SAT answers with a SCSI error.
    ErrorCode readSmartData(std::vector<uint8_t>* sector) override;
};

// Power-switch boards show up as USB disks; the power layer drives them
// through their SCSI route.
class SataPowerSwitchBoard : public DiskBase {
public:
    using DiskBase::DiskBase;
};

class PciePowerSwitchBoard : public DiskBase {
public:
    using DiskBase::DiskBase;
};

// An NVMe SSD behind the JMicron USB bridge: admin commands go through the
// bridge's vendor tunnel over SCSI pass-through, at most 4096 bytes each.
class JMicronS583 : public NvmeDisk {
public:
    using NvmeDisk::NvmeDisk;
    using DiskBase::getLogPage;
    // A page longer than one tunnel transfer is read in pieces at rising offsets.
    ErrorCode getLogPage(uint8_t logId, uint32_t size, uint64_t offset, std::vector<uint8_t>* data) override;

protected:
    ErrorCode readAdmin(NvmeCommand& command, std::vector<uint8_t>* data, uint32_t size) override;
};

}  // namespace zel
