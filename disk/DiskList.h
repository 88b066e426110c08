#pragma once

#include <memory>
#include <string>
#include <vector>

#include "core/ActionResultJson.h"
#include "core/Uncopyable.h"
#include "disk/DiskBase.h"
#include "disk/DiskSelector.h"
#include "disk/DriveRecords.h"

namespace zel {

// True when the first sector of the disk carries the pattern text at byte 16
// (the --diskpattern selection).
bool diskMatchesPattern(const DiskBase& disk, const std::string& pattern);

// The process-wide list of the host's disks, built once on first use.
class DiskList : private Uncopyable {
public:
    static DiskList& instance();

    // Builds the list on the first call. A full build also inspects the
    // PCIe side of NVMe controllers through the port-I/O driver.
    DiskList& get(bool fullBuild);
    // The PCIe side of one NVMe disk, read now when the build did not;
    // false with the last error when it cannot be read.
    bool inspectPcie(DiskBase& disk);
    // Drops the list so the next get builds it again (tests, power-on search).
    void reset();

    // False when some disk could not be completed (protocol, PCIe inspection).
    bool builtWithoutError() const { return builtWithoutError_; }
    const std::vector<std::unique_ptr<DiskBase>>& disks() const { return disks_; }

    // Pattern, serial number, model substring, then number (-1: not given);
    // a given criterion that matches nothing passes on to the next.
    DiskBase* findDisk(const DiskSelector& selector) const;
    std::vector<DiskBase*> findTwinDisks(int number) const;

    void print() const;
    bool writeIni(const std::string& path) const;
    std::vector<DriveInfo> toDriveInfoList() const;
    bool writeJson(ActionResultJson& json) const;

    // Drive entries of a loaded disk configuration (--commfile); an NVMe disk
    // whose PCIe side cannot be read takes its PCIe fields from its entry.
    void useConfiguration(const std::vector<DriveInfo>& drives) { configuration_ = drives; }
    const std::vector<DriveInfo>& configuration() const { return configuration_; }

private:
    DiskList() = default;
    void build();
    void inspectPcie();
    bool inspectOne(DiskBase& disk, bool driverOpen);
    bool pcieFromConfiguration(DiskBase* disk) const;

    std::vector<std::unique_ptr<DiskBase>> disks_;
    std::vector<DriveInfo> configuration_;
    bool built_ = false;
    bool pcieInspected_ = false;
    bool builtWithoutError_ = true;
};

}  // namespace zel
