#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "core/ErrorCodes.h"
#include "power/PowerJob.h"

namespace zel {

// Under SOFTWARE\ZEL\smart, what the smart action's $pwrcycle, $gsd and
// $ugsd limits read after a flow: the extra power cycles and shutdowns the
// drive saw beyond the one the flow is for. A value left out is not written.
struct SmartCountersAfterFlow {
    int64_t pwrcycleRetry = 0;
    std::optional<int64_t> gsdRetry;
    std::optional<int64_t> ugsdRetry;
};

// attempts: attempts of the flow (1 when the DUT came back at once);
// shortCycles: the ungraceful cuts made before it.
SmartCountersAfterFlow smartCountersAfterFlow(PowerControl control, uint32_t attempts, uint32_t shortCycles);

// What one flow leaves under SOFTWARE\ZEL\dut.
struct FlowRecord {
    std::string control;  // "gsd", "ugsd"
    int dutNumber = -1;
    std::string serial;
    int switchNumber = -1;
    uint32_t attempts = 0;
    ErrorCode result = 0;
    uint64_t offAt = 0;  // milliseconds since 1601, local time
    uint64_t onAt = 0;
};

// Writes the record and, for a flow that brought the DUT back, the SMART
// counters; false when the registry refused a value.
bool writeFlowRecords(const FlowRecord& record, const SmartCountersAfterFlow* counters);

}  // namespace zel
