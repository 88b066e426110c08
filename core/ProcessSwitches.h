#pragma once

#include <cstdint>

namespace zel {

// Process-wide switches set once by the entry from the command line and read
// by lower layers.
struct ProcessSwitches {
    bool debug = false;
    // 18 when --pwrtype sata_gpio selects the GPIO SATA power switch, else 0.
    uint32_t powerSwitchType = 0;
    // 7 when --protocol zelnvme forces the miniport NVMe route, else 0.
    uint32_t nvmeProtocol = 0;
    // Set by --prechk: a missing port-I/O driver is no longer forgiven.
    bool precheck = false;
    // Start of the run, for elapsed times.
    uint64_t startMilliseconds = 0;
};

ProcessSwitches& processSwitches();

}  // namespace zel
