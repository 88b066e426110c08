#include "vhost/HostState.h"

#include <cstdint>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

#include "vhost/JsonReader.h"

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
                {"telemetryGeneration", c.telemetryGeneration}, {"powered", c.powered},
                {"readyAt", c.readyAt}, {"boardMillivolts", c.boardMillivolts}};
}

// A bad value is noted and keeps its default; the other values stay.
DiskCounters fromJson(JsonReader& in, const json& object, const std::string& where) {
    DiskCounters c;
    c.powerCycles = in.number(object, "powerCycles", c.powerCycles, where);
    c.unsafeShutdowns = in.number(object, "unsafeShutdowns", c.unsafeShutdowns, where);
    c.powerOnSecondsBase = in.number(object, "powerOnSecondsBase", c.powerOnSecondsBase, where);
    c.firstUse = static_cast<int64_t>(in.number(object, "firstUse", 0, where, INT64_MAX));
    c.bytesRead = in.number(object, "bytesRead", c.bytesRead, where);
    c.bytesWritten = in.number(object, "bytesWritten", c.bytesWritten, where);
    c.readCommands = in.number(object, "readCommands", c.readCommands, where);
    c.writeCommands = in.number(object, "writeCommands", c.writeCommands, where);
    c.mediaErrors = in.number(object, "mediaErrors", c.mediaErrors, where);
    c.errorLogEntries = in.number(object, "errorLogEntries", c.errorLogEntries, where);
    c.telemetryGeneration = in.field<uint8_t>(object, "telemetryGeneration", c.telemetryGeneration, where);
    c.powered = in.flag(object, "powered", c.powered, where);
    c.readyAt = static_cast<int64_t>(in.number(object, "readyAt", 0, where, INT64_MAX));
    c.boardMillivolts = in.field<uint32_t>(object, "boardMillivolts", 0, where);
    return c;
}

bool diskNumberKey(const std::string& key, int* number) {
    uint64_t value = 0;
    std::string problem;
    if (!parseUnsignedText(key, &value, &problem) || value > INT32_MAX) return false;
    *number = static_cast<int>(value);
    return true;
}

}  // namespace

int64_t unixNow() { return static_cast<int64_t>(std::time(nullptr)); }

uint64_t DiskCounters::powerOnHours(int64_t now) const {
    const int64_t elapsed = firstUse > 0 && now > firstUse ? now - firstUse : 0;
    return (powerOnSecondsBase + static_cast<uint64_t>(elapsed)) / 3600;
}

int64_t HostState::now() const { return unixNow() + clockOffset_; }

int64_t HostState::nowMillis() const {
    const auto since = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(since).count() + clockOffset_ * 1000;
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

bool HostState::load(std::vector<std::string>* problems) {
    std::ifstream file(folder_ + "/counters.json", std::ios::binary);
    if (!file) return true;
    std::stringstream text;
    text << file.rdbuf();
    JsonReader in;
    const json root = json::parse(text.str(), nullptr, false);
    if (root.is_discarded()) in.fail("counters.json", "not valid JSON");
    const json* top = root.is_discarded() ? nullptr : in.asObject(root, "counters.json");
    const json* disks = top ? in.object(*top, "disks", "counters.json") : nullptr;
    if (disks) {
        for (auto it = disks->begin(); it != disks->end(); ++it) {
            const std::string at = "counters.json.disks." + it.key();
            int number = 0;
            if (!diskNumberKey(it.key(), &number))
                in.fail(at, "not a disk number");
            else if (const json* entry = in.asObject(it.value(), at))
                counters_[number] = fromJson(in, *entry, at);
        }
    }
    *problems = in.problems();
    dirty_ = dirty_ || !in.ok();  // the next save repairs the file
    for (const auto& entry : counters_) loadTrimmed(entry.first, problems);
    return problems->empty();
}

std::string HostState::trimPath(int diskNumber) const {
    return folder_ + "/disk" + std::to_string(diskNumber) + ".trim";
}

// A damaged line is dropped, so its sectors read their old data again.
void HostState::loadTrimmed(int diskNumber, std::vector<std::string>* problems) {
    std::ifstream file(trimPath(diskNumber));
    ExtentSet& set = trimmed_[diskNumber];
    unsigned number = 0;
    for (std::string line; std::getline(file, line);) {
        ++number;
        std::istringstream fields(line);
        uint64_t start = 0, count = 0;
        std::string rest;
        if (fields >> start >> count && !(fields >> rest) && count != 0 && start + count > start) {
            set.add(start, count);
            continue;
        }
        problems->push_back("disk" + std::to_string(diskNumber) + ".trim line " + std::to_string(number) +
                            ": expected a start LBA and a sector count");
        trimDirty_.insert(diskNumber);
    }
}

bool HostState::saveTrimmed(int diskNumber) const {
    const ExtentSet& set = trimmed_.at(diskNumber);
    std::error_code error;
    if (set.empty()) return std::filesystem::remove(trimPath(diskNumber), error) || !error;
    std::ofstream file(trimPath(diskNumber), std::ios::binary | std::ios::trunc);
    for (const auto& range : set.ranges()) file << range.first << ' ' << range.second - range.first << '\n';
    return static_cast<bool>(file);
}

bool HostState::save() {
    if (!ensureFolder()) return false;
    lastSave_ = std::chrono::steady_clock::now();
    bool ok = true;
    for (int disk : trimDirty_) ok = saveTrimmed(disk) && ok;
    trimDirty_.clear();
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
    return ok && !error;
}

DiskCounters& HostState::counters(int diskNumber) {
    auto it = counters_.find(diskNumber);
    if (it != counters_.end()) return it->second;
    DiskCounters& fresh = counters_[diskNumber];
    fresh.firstUse = now();
    dirty_ = true;
    return fresh;
}

ExtentSet& HostState::trimmed(int diskNumber) {
    counters(diskNumber);  // a disk with state has counters, which name it at the next load
    return trimmed_[diskNumber];
}

bool HostState::saveIfChanged() {
    if (!dirty_ && trimDirty_.empty()) return true;
    dirty_ = false;
    return save();
}

bool HostState::saveIfDue() {
    if (std::chrono::steady_clock::now() - lastSave_ < std::chrono::seconds(1)) return true;
    return saveIfChanged();
}

}  // namespace vhost
}  // namespace zel
