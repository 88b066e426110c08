// The devcon stand-in: acts on the virtual host's controllers and driver store.
#include <cctype>

#include "vhost/StandInTools.h"

namespace zel {
namespace vhost {
namespace {

constexpr uint32_t kDone = 0;
constexpr uint32_t kReboot = 1;
constexpr uint32_t kFailed = 2;
constexpr uint32_t kUsage = 3;

std::string lower(std::string text) {
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

std::vector<const DiskDescription*> matching(const ToolHost& host, const std::string& id) {
    std::vector<const DiskDescription*> disks;
    for (const DiskDescription& disk : host.description.disks)
        if (controllerMatches(disk, id)) disks.push_back(&disk);
    return disks;
}

// Windows cannot stop the controller of its own drive while it runs.
bool holdsOs(const ToolHost& host, const std::vector<const DiskDescription*>& disks) {
    for (const DiskDescription* disk : disks)
        for (const VolumeDescription& volume : host.changes.volumes(*disk))
            if (volume.letter == host.osLetter) return true;
    return false;
}

std::string instanceOf(const DiskDescription& disk) {
    return disk.driver.instanceId.empty() ? controllerHardwareId(disk) : disk.driver.instanceId;
}

// enable, disable, remove: past tense and what changes.
ToolAnswer change(ToolHost& host, const std::string& verb, const std::string& id) {
    const std::vector<const DiskDescription*> disks = matching(host, id);
    if (disks.empty()) return {kFailed, "No matching devices found.\r\n"};
    const char* done = verb == "enable" ? "Enabled" : verb == "disable" ? "Disabled" : "Removed";
    const std::string plural = verb == "remove" ? " were removed" : verb == "enable" ? " are enabled" : " disabled";
    ToolAnswer answer;
    if (verb != "enable" && holdsOs(host, disks)) {
        for (const DiskDescription* disk : disks) answer.output += instanceOf(*disk) + ": " + done + " on reboot\r\n";
        answer.output += "Not all of " + std::to_string(disks.size()) + " device(s)" + plural +
                         ", at least one requires reboot to complete the operation.\r\n";
        answer.exitCode = kReboot;
        return answer;
    }
    const std::string key = upperCase(id);
    if (verb == "enable") host.changes.disabled().erase(key);
    if (verb == "disable") host.changes.disabled().insert(key);
    if (verb == "remove") host.changes.removed().insert(key);
    host.changes.save();
    for (const DiskDescription* disk : disks) answer.output += instanceOf(*disk) + ": " + done + "\r\n";
    answer.output += std::to_string(disks.size()) + " device(s)" + plural + ".\r\n";
    return answer;
}

ToolAnswer rescan(ToolHost& host) {
    host.changes.removed().clear();
    host.changes.save();
    return {kDone, "Scanning for new hardware.\r\nScanning completed.\r\n"};
}

ToolAnswer update(ToolHost& host, const std::string& id, const std::string& inf) {
    ToolAnswer answer{kDone, "Updating drivers for " + id + " from " + inf + ".\r\n"};
    if (matching(host, id).empty()) {
        answer.exitCode = kFailed;
        answer.output += "updateni failed\r\n";
        return answer;
    }
    answer.output += "Drivers installed successfully.\r\n";
    return answer;
}

ToolAnswer listPackages(const ToolHost& host) {
    ToolAnswer answer;
    for (const DriverPackageDescription& package : host.description.driverPackages) {
        if (host.changes.deletedPackages().count(upperCase(package.name))) continue;
        answer.output += package.name + "\r\n    Provider: " + package.provider + "\r\n    Class: " +
                         package.className + "\r\n    Driver date/version: " + package.version +
                         "\r\n    Signer name: " + package.signer + "\r\n";
    }
    if (answer.output.empty()) return {kDone, "There are no 3rd party Driver Packages on this machine.\r\n"};
    answer.output = "The following 3rd party Driver Packages are on this machine:\r\n" + answer.output;
    return answer;
}

}  // namespace

ToolAnswer runDevconStandIn(const std::vector<std::string>& args, ToolHost& host) {
    const std::string verb = args.empty() ? "" : lower(args[0]);
    if (verb == "rescan" && args.size() == 1) return rescan(host);
    if (verb == "dp_enum" && args.size() == 1) return listPackages(host);
    if ((verb == "enable" || verb == "disable") && args.size() == 2) return change(host, verb, args[1]);
    if (verb == "remove" && args.size() == 3 && lower(args[1]) == "/r") return change(host, verb, args[2]);
    if (verb == "remove" && args.size() == 2) return change(host, verb, args[1]);
    if (verb == "update" && args.size() == 3) return update(host, args[1], args[2]);
    return {kUsage, "devcon.exe failed.\r\n"};
}

}  // namespace vhost
}  // namespace zel
