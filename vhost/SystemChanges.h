#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "vhost/HostDescription.h"

namespace zel {
namespace vhost {

// "PCI\VEN_1F2E&DEV_A809" for a disk whose controller has a PCI identity,
// empty otherwise.
std::string controllerHardwareId(const DiskDescription& disk);
// Whether a hardware id, as devcon takes it, names the disk's controller:
// the id above or the leading part of its instance id, without regard to case.
bool controllerMatches(const DiskDescription& disk, const std::string& hardwareId);

// What the host's system tools (diskpart, devcon, pnputil) changed, kept in
// the state folder ("system.json") so that every later run sees it. The
// stand-in tools write it; the host reads it again whenever it changed.
class SystemChanges {
public:
    explicit SystemChanges(std::string stateFolder);

    // A missing file means nothing changed. A damaged one is named in
    // problems and read as nothing changed.
    bool load(std::vector<std::string>* problems);
    bool save();
    // Loads again when another process rewrote the file since the last load.
    void reloadIfChanged();

    // The volumes of a disk as its last partitioning left them; the
    // description's when no tool touched the disk.
    const std::vector<VolumeDescription>& volumes(const DiskDescription& disk) const;
    void setVolumes(int diskNumber, std::vector<VolumeDescription> volumes);
    // The disk's volumes to change in place, starting from the description's.
    std::vector<VolumeDescription>& editVolumes(const DiskDescription& disk);

    // Disabled controllers stay off until enabled; removed ones come back
    // with the next rescan. Ids are kept in upper case.
    std::set<std::string>& disabled() { return disabled_; }
    std::set<std::string>& removed() { return removed_; }
    bool controllerOff(const DiskDescription& disk) const;

    // Published names of the driver packages deleted from the store.
    std::set<std::string>& deletedPackages() { return deletedPackages_; }

private:
    std::string path() const;
    std::string fileStamp() const;

    std::string folder_;
    std::string loadedStamp_;
    std::map<int, std::vector<VolumeDescription>> volumes_;
    std::set<std::string> disabled_;
    std::set<std::string> removed_;
    std::set<std::string> deletedPackages_;
};

std::string upperCase(std::string text);

}  // namespace vhost
}  // namespace zel
