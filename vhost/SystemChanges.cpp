#include "vhost/SystemChanges.h"

#include <cctype>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

#include "core/TextFormat.h"
#include "vhost/JsonReader.h"

namespace zel {
namespace vhost {
namespace {

using nlohmann::json;

json volumeJson(const VolumeDescription& volume) {
    return json{{"letter", volume.letter ? std::string(1, volume.letter) : std::string()},
                {"totalBytes", volume.totalBytes},
                {"freeBytes", volume.freeBytes}};
}

VolumeDescription readVolume(JsonReader& in, const json& entry, const std::string& at) {
    VolumeDescription volume;
    const std::string letter = in.text(entry, "letter", "", at);
    if (letter.size() == 1 && std::isalpha(static_cast<unsigned char>(letter[0])))
        volume.letter = static_cast<char>(std::toupper(static_cast<unsigned char>(letter[0])));
    else if (!letter.empty())
        in.fail(at + ".letter", "expected one letter");
    volume.totalBytes = in.number(entry, "totalBytes", 0, at);
    volume.freeBytes = in.number(entry, "freeBytes", 0, at);
    return volume;
}

std::set<std::string> readNames(JsonReader& in, const json& root, const char* key) {
    std::set<std::string> names;
    const json* list = in.array(root, key, "system.json");
    if (!list) return names;
    for (const json& entry : *list) {
        if (entry.is_string())
            names.insert(upperCase(entry.get<std::string>()));
        else
            in.fail(std::string("system.json.") + key, "expected text entries");
    }
    return names;
}

}  // namespace

std::string upperCase(std::string text) {
    for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return text;
}

std::string controllerHardwareId(const DiskDescription& disk) {
    if (!disk.pci.present) return "";
    return formatText("PCI\\VEN_%04X&DEV_%04X", disk.pci.vendorId, disk.pci.deviceId);
}

bool controllerMatches(const DiskDescription& disk, const std::string& hardwareId) {
    if (hardwareId.empty()) return false;
    const std::string wanted = upperCase(hardwareId);
    if (wanted == controllerHardwareId(disk)) return true;
    const std::string instance = upperCase(disk.driver.instanceId);
    if (instance.compare(0, wanted.size(), wanted) != 0) return false;
    // A whole part of the id: followed by the next field or the instance part.
    return instance.size() == wanted.size() || instance[wanted.size()] == '&' || instance[wanted.size()] == '\\';
}

SystemChanges::SystemChanges(std::string stateFolder) : folder_(std::move(stateFolder)) {}

std::string SystemChanges::path() const { return folder_ + "/system.json"; }

std::string SystemChanges::fileStamp() const {
    std::error_code error;
    const auto time = std::filesystem::last_write_time(path(), error);
    if (error) return "";
    const auto size = std::filesystem::file_size(path(), error);
    return std::to_string(time.time_since_epoch().count()) + "/" + std::to_string(error ? 0 : size);
}

bool SystemChanges::load(std::vector<std::string>* problems) {
    volumes_.clear();
    disabled_.clear();
    removed_.clear();
    deletedPackages_.clear();
    loadedStamp_ = fileStamp();
    std::ifstream file(path(), std::ios::binary);
    if (!file) return true;
    std::stringstream text;
    text << file.rdbuf();
    const json root = json::parse(text.str(), nullptr, false);
    JsonReader in;
    if (root.is_discarded() || !root.is_object()) {
        problems->push_back("system.json: not a JSON object");
        return false;
    }
    if (const json* disks = in.object(root, "volumes", "system.json")) {
        for (auto it = disks->begin(); it != disks->end(); ++it) {
            const std::string at = "system.json.volumes." + it.key();
            uint64_t number = 0;
            std::string problem;
            if (!parseUnsignedText(it.key(), &number, &problem) || number > 0x7FFFFFFF || !it.value().is_array()) {
                in.fail(at, "expected a disk number and a list of volumes");
                continue;
            }
            std::vector<VolumeDescription>& list = volumes_[static_cast<int>(number)];
            for (size_t i = 0; i < it.value().size(); ++i)
                if (const json* entry = in.asObject(it.value()[i], at + "[" + std::to_string(i) + "]"))
                    list.push_back(readVolume(in, *entry, at));
        }
    }
    disabled_ = readNames(in, root, "disabled");
    removed_ = readNames(in, root, "removed");
    deletedPackages_ = readNames(in, root, "deletedPackages");
    problems->insert(problems->end(), in.problems().begin(), in.problems().end());
    return in.ok();
}

bool SystemChanges::save() {
    std::error_code error;
    std::filesystem::create_directories(folder_, error);
    json volumes = json::object();
    for (const auto& entry : volumes_) {
        json list = json::array();
        for (const VolumeDescription& volume : entry.second) list.push_back(volumeJson(volume));
        volumes[std::to_string(entry.first)] = list;
    }
    const json root{{"volumes", volumes},
                    {"disabled", disabled_},
                    {"removed", removed_},
                    {"deletedPackages", deletedPackages_}};
    const std::string temporary = path() + ".tmp";
    {
        std::ofstream file(temporary, std::ios::binary | std::ios::trunc);
        file << root.dump(2) << '\n';
        if (!file) return false;
    }
    std::filesystem::rename(temporary, path(), error);
    loadedStamp_ = fileStamp();
    return !error;
}

void SystemChanges::reloadIfChanged() {
    if (fileStamp() == loadedStamp_) return;
    std::vector<std::string> ignored;  // reported by the run that loaded it first
    load(&ignored);
}

const std::vector<VolumeDescription>& SystemChanges::volumes(const DiskDescription& disk) const {
    auto it = volumes_.find(disk.number);
    return it == volumes_.end() ? disk.volumes : it->second;
}

void SystemChanges::setVolumes(int diskNumber, std::vector<VolumeDescription> volumes) {
    volumes_[diskNumber] = std::move(volumes);
}

std::vector<VolumeDescription>& SystemChanges::editVolumes(const DiskDescription& disk) {
    auto it = volumes_.find(disk.number);
    if (it != volumes_.end()) return it->second;
    return volumes_[disk.number] = disk.volumes;
}

bool SystemChanges::controllerOff(const DiskDescription& disk) const {
    for (const std::set<std::string>* ids : {&disabled_, &removed_})
        for (const std::string& id : *ids)
            if (controllerMatches(disk, id)) return true;
    return false;
}

}  // namespace vhost
}  // namespace zel
