#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "core/ErrorCodes.h"
#include "power/BoardCommands.h"
#include "power/PowerRecords.h"

namespace zel {

// When things happened in a pwr run, in local milliseconds since 1601;
// 0 for a step not reached.
struct PowerTimeline {
    uint64_t offSentAt = 0;   // the power-off command went to the board
    uint64_t goneAt = 0;      // the DUT was seen gone
    uint64_t onSentAt = 0;    // the power-on command went to the board
    uint64_t backAt = 0;      // the DUT was found again
};

// One pwr run as the run record shows it.
struct PowerRunRecord {
    std::string control;         // --pwrctrl as given
    std::string board;           // the switch class, "" without a switch
    int boardNumber = -1;        // its disk number
    bool graceful = false;       // the drive was to be told first (gsd)
    uint32_t attempts = 0;       // flow attempts (retries included)
    uint32_t shortCycles = 0;
    int dutNumberAfter = -1;     // where the DUT came back
    PowerTimeline timeline;
    std::optional<SmartCountersAfterFlow> counters;  // written to the registry
    std::optional<PowerMeasurement> measurement;
    ErrorCode result = 0;
};

}  // namespace zel
