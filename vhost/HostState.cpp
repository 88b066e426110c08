#include "vhost/HostState.h"

#include <ctime>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <nlohmann/json.hpp>

namespace zel {
namespace vhost {
namespace {

using nlohmann::json;

json toJson(const DiskCounters& c) {
    return json{{"powerCycles", c.powerCycles},     {"unsafeShutdowns", c.unsafeShutdowns},
                {"powerOnSecondsBase", c.powerOnSecondsBase}, {"firstUse", c.firstUse},
                {"bytesRead", c.bytesRead},         {"bytesWritten", c.bytesWritten},
                {"readCommands", c.readCommands},   {"writeCommands", c.writeCommands},
                {"mediaErrors", c.mediaErrors},     {"errorLogEntries", c.errorLogEntries},
                {"telemetryGeneration", c.telemetryGeneration}, {"powered", c.powered}};
}

template <typename T>
void readInto(const json& object, const char* key, T* value) {
    auto it = object.find(key);
    if (it != object.end() && (it->is_number() || it->is_boolean())) *value = it->get<T>();
}

DiskCounters fromJson(const json& object) {
    DiskCounters c;
    readInto(object, "powerCycles", &c.powerCycles);
    readInto(object, "unsafeShutdowns", &c.unsafeShutdowns);
    readInto(object, "powerOnSecondsBase", &c.powerOnSecondsBase);
    readInto(object, "firstUse", &c.firstUse);
    readInto(object, "bytesRead", &c.bytesRead);
    readInto(object, "bytesWritten", &c.bytesWritten);
    readInto(object, "readCommands", &c.readCommands);
    readInto(object, "writeCommands", &c.writeCommands);
    readInto(object, "mediaErrors", &c.mediaErrors);
    readInto(object, "errorLogEntries", &c.errorLogEntries);
    readInto(object, "telemetryGeneration", &c.telemetryGeneration);
    readInto(object, "powered", &c.powered);
    return c;
}

}  // namespace

int64_t unixNow() { return static_cast<int64_t>(std::time(nullptr)); }

uint64_t DiskCounters::powerOnHours(int64_t now) const {
    const int64_t elapsed = firstUse > 0 && now > firstUse ? now - firstUse : 0;
    return (powerOnSecondsBase + static_cast<uint64_t>(elapsed)) / 3600;
}

HostState::HostState(std::string folder) : folder_(std::move(folder)) {}

std::string HostState::imagePath(int diskNumber) const {
    return folder_ + "/disk" + std::to_string(diskNumber) + ".img";
}

bool HostState::ensureFolder() const {
    std::error_code error;
    std::filesystem::create_directories(folder_, error);
    return std::filesystem::is_directory(folder_, error);
}

bool HostState::load(std::string* problem) {
    std::ifstream file(folder_ + "/counters.json", std::ios::binary);
    if (!file) return true;
    std::stringstream text;
    text << file.rdbuf();
    const json root = json::parse(text.str(), nullptr, false);
    if (root.is_discarded() || !root.is_object() || !root.contains("disks") || !root["disks"].is_object()) {
        *problem = "counters.json in the state folder is damaged";
        return false;
    }
    for (auto it = root["disks"].begin(); it != root["disks"].end(); ++it)
        if (it.value().is_object()) counters_[std::atoi(it.key().c_str())] = fromJson(it.value());
    return true;
}

bool HostState::save() const {
    if (!ensureFolder()) return false;
    json disks = json::object();
    for (const auto& entry : counters_) disks[std::to_string(entry.first)] = toJson(entry.second);
    const std::string path = folder_ + "/counters.json";
    const std::string temporary = path + ".tmp";
    {
        std::ofstream file(temporary, std::ios::binary | std::ios::trunc);
        if (!file) return false;
        file << json{{"disks", disks}}.dump(2) << '\n';
        if (!file) return false;
    }
    std::error_code error;
    std::filesystem::rename(temporary, path, error);
    return !error;
}

DiskCounters& HostState::counters(int diskNumber) {
    auto it = counters_.find(diskNumber);
    if (it != counters_.end()) return it->second;
    DiskCounters& fresh = counters_[diskNumber];
    fresh.firstUse = unixNow();
    dirty_ = true;
    return fresh;
}

bool HostState::saveIfChanged() {
    if (!dirty_) return true;
    dirty_ = false;
    return save();
}

}  // namespace vhost
}  // namespace zel
