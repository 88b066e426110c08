#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace zel {
namespace vhost {

// Counters of one disk that live across runs.
struct DiskCounters {
    uint64_t powerCycles = 0;
    uint64_t unsafeShutdowns = 0;
    uint64_t powerOnSecondsBase = 0;  // accumulated before firstUse
    int64_t firstUse = 0;             // Unix seconds when the state was created
    uint64_t bytesRead = 0;
    uint64_t bytesWritten = 0;
    uint64_t readCommands = 0;
    uint64_t writeCommands = 0;
    uint64_t mediaErrors = 0;
    uint64_t errorLogEntries = 0;
    uint8_t telemetryGeneration = 0;
    bool powered = true;

    uint64_t powerOnHours(int64_t now) const;
    // NVMe data units: thousands of 512-byte units, rounded up.
    static uint64_t dataUnits(uint64_t bytes) { return ((bytes + 511) / 512 + 999) / 1000; }
};

// The state folder beside a description: counters.json and one sparse
// image per disk ("disk<N>.img"), created on first use.
class HostState {
public:
    explicit HostState(std::string folder);

    const std::string& folder() const { return folder_; }
    std::string imagePath(int diskNumber) const;

    // Reads counters.json; a missing file is a fresh state. A damaged value
    // starts from its default and is named in problems, with its key.
    bool load(std::vector<std::string>* problems);
    bool save() const;

    DiskCounters& counters(int diskNumber);
    void touch() { dirty_ = true; }
    bool saveIfChanged();

private:
    bool ensureFolder() const;

    std::string folder_;
    std::map<int, DiskCounters> counters_;
    bool dirty_ = false;
};

int64_t unixNow();

}  // namespace vhost
}  // namespace zel
