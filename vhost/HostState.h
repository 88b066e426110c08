#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "vhost/ExtentSet.h"

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
    // Host clock, Unix milliseconds: after its power returns the disk is
    // unseen until then.
    int64_t readyAt = 0;
    // A PCIe power-switch board's output as its voltage command set it; 0:
    // as described.
    uint32_t boardMillivolts = 0;

    uint64_t powerOnHours(int64_t now) const;
    // NVMe data units: thousands of 512-byte units, rounded up.
    static uint64_t dataUnits(uint64_t bytes) { return ((bytes + 511) / 512 + 999) / 1000; }
};

// The state folder beside a description: counters.json, one sparse image
// per disk ("disk<N>.img") and the disk's trimmed ranges ("disk<N>.trim",
// a "start count" line per range), created on first use.
class HostState {
public:
    explicit HostState(std::string folder);

    const std::string& folder() const { return folder_; }
    // The host's clock, Unix seconds: the real time plus the offset.
    void setClockOffset(uint64_t seconds) { clockOffset_ = static_cast<int64_t>(seconds); }
    int64_t now() const;
    int64_t nowMillis() const;
    std::string imagePath(int diskNumber) const;

    // Reads counters.json; a missing file is a fresh state. A damaged value
    // starts from its default and is named in problems, with its key.
    bool load(std::vector<std::string>* problems);
    bool save();

    DiskCounters& counters(int diskNumber);
    void touch() { dirty_ = true; }
    ExtentSet& trimmed(int diskNumber);
    void trimmedChanged(int diskNumber) { trimDirty_.insert(diskNumber); }
    bool saveIfChanged();
    // saveIfChanged at most once a second, for calls that may come with
    // every request.
    bool saveIfDue();

private:
    bool ensureFolder() const;
    std::string trimPath(int diskNumber) const;
    bool saveTrimmed(int diskNumber) const;
    void loadTrimmed(int diskNumber, std::vector<std::string>* problems);

    std::string folder_;
    int64_t clockOffset_ = 0;
    std::map<int, DiskCounters> counters_;
    std::map<int, ExtentSet> trimmed_;
    std::set<int> trimDirty_;
    bool dirty_ = false;
    std::chrono::steady_clock::time_point lastSave_;
};

int64_t unixNow();

}  // namespace vhost
}  // namespace zel
