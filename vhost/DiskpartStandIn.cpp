// The diskpart stand-in: runs a script's commands on the virtual host's
// volumes.
#include <cctype>
#include <sstream>

#include "vhost/StandInTools.h"
#include "vhost/VolumeFolders.h"

namespace zel {
namespace vhost {
namespace {

constexpr uint32_t kServiceError = 4;
constexpr uint32_t kWrongCommand = 5;
constexpr uint64_t kPartitionOffset = 1 << 20;

std::string trimmedLower(const std::string& line) {
    std::string text;
    for (char c : line) text += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    const size_t first = text.find_first_not_of(" \t\r");
    if (first == std::string::npos) return "";
    return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

class Session {
public:
    explicit Session(ToolHost& host) : host_(host) {}

    // False when the script stops here; the answer then holds the code.
    bool run(const std::string& command) {
        if (command.empty()) return true;
        if (command.rfind("select disk ", 0) == 0) return select(command.substr(12));
        if (command == "clean") return clean();
        if (command == "create partition primary") return createPartition();
        if (command == "format fs=ntfs quick") return format();
        if (command.rfind("assign letter=", 0) == 0 && command.size() == 15) return assign(command[14]);
        return fail(kWrongCommand, "The arguments specified for this command are not valid.");
    }
    ToolAnswer& answer() { return answer_; }

private:
    bool say(const std::string& line) {
        answer_.output += line + "\r\n\r\n";
        return true;
    }
    bool fail(uint32_t code, const std::string& line) {
        answer_.exitCode = code;
        say(line);
        return false;
    }

    bool select(const std::string& number) {
        disk_ = nullptr;
        for (const DiskDescription& disk : host_.description.disks)
            if (std::to_string(disk.number) == number && !disk.absent && !host_.changes.controllerOff(disk))
                disk_ = &disk;
        if (!disk_) return fail(kServiceError, "The disk you specified is not valid.");
        return say("Disk " + number + " is now the selected disk.");
    }

    bool holdsOs() const {
        for (const VolumeDescription& volume : host_.changes.volumes(*disk_))
            if (volume.letter == host_.osLetter) return true;
        return false;
    }

    bool clean() {
        if (!disk_) return fail(kServiceError, "There is no disk selected.");
        if (holdsOs())
            return fail(kServiceError, "Virtual Disk Service error:\r\nClean is not allowed on the disk containing the "
                                       "current boot, system, pagefile, crashdump or hibernation volume.");
        for (const VolumeDescription& volume : host_.changes.volumes(*disk_))
            if (volume.letter) folders().wipe(volume.letter);
        host_.changes.setVolumes(disk_->number, {});
        return say("DiskPart succeeded in cleaning the disk.");
    }

    bool createPartition() {
        if (!disk_) return fail(kServiceError, "There is no disk selected.");
        if (!host_.changes.volumes(*disk_).empty() || disk_->capacityBytes <= kPartitionOffset)
            return fail(kServiceError, "Virtual Disk Service error:\r\nThere is not enough usable space for this "
                                       "operation.");
        VolumeDescription volume;
        volume.totalBytes = disk_->capacityBytes - kPartitionOffset;
        host_.changes.setVolumes(disk_->number, {volume});
        return say("DiskPart succeeded in creating the specified partition.");
    }

    // The partition the last create made (the only one on the disk).
    VolumeDescription* partition() {
        if (!disk_) return nullptr;
        std::vector<VolumeDescription>& volumes = host_.changes.editVolumes(*disk_);
        return volumes.size() == 1 ? &volumes.front() : nullptr;
    }

    bool format() {
        VolumeDescription* volume = partition();
        if (!volume) return fail(kServiceError, "There is no volume selected.");
        volume->freeBytes = volume->totalBytes;
        if (volume->letter) folders().wipe(volume->letter);
        return say("  100 percent completed\r\n\r\nDiskPart successfully formatted the volume.");
    }

    bool letterInUse(char letter) const {
        for (const DiskDescription& disk : host_.description.disks)
            for (const VolumeDescription& volume : host_.changes.volumes(disk))
                if (volume.letter == letter && &disk != disk_) return true;
        return letter == host_.osLetter;
    }

    bool assign(char letter) {
        letter = static_cast<char>(std::toupper(static_cast<unsigned char>(letter)));
        if (!std::isalpha(static_cast<unsigned char>(letter)))
            return fail(kWrongCommand, "The arguments specified for this command are not valid.");
        VolumeDescription* volume = partition();
        if (!volume) return fail(kServiceError, "There is no volume selected.");
        if (letterInUse(letter))
            return fail(kServiceError, "Virtual Disk Service error:\r\nThe specified drive letter is not free to be "
                                       "assigned.");
        volume->letter = letter;
        folders().wipe(letter);  // whatever an earlier volume of that letter left
        return say("DiskPart successfully assigned the drive letter or mount point.");
    }

    // The files of the volumes' letters, which a clean or format removes.
    VolumeFolders folders() const { return VolumeFolders(host_.description.stateFolder); }

    ToolHost& host_;
    const DiskDescription* disk_ = nullptr;
    ToolAnswer answer_;
};

}  // namespace

ToolAnswer runDiskpartStandIn(const std::string& script, ToolHost& host) {
    Session session(host);
    std::istringstream lines(script);
    for (std::string line; std::getline(lines, line);) {
        const std::string command = trimmedLower(line);
        if (command == "exit") break;
        if (!session.run(command)) break;
    }
    host.changes.save();
    if (session.answer().exitCode == 0) session.answer().output += "Leaving DiskPart...\r\n";
    return session.answer();
}

}  // namespace vhost
}  // namespace zel
