#pragma once

#include <cstdint>

namespace zel {

// Values the entry stores in the switches below. The forced NVMe value is the
// miniport route's code; the protocol layer checks that they agree, as core
// cannot see it.
namespace switchvalue {
constexpr uint32_t kSataGpioPowerSwitch = 18;  // --pwrtype sata_gpio
constexpr uint32_t kForcedNvmeMiniport = 7;    // --protocol zelnvme
}  // namespace switchvalue

// Process-wide switches set once by the entry from the command line and read
// by lower layers.
struct ProcessSwitches {
    bool debug = false;
    // kSataGpioPowerSwitch when --pwrtype sata_gpio selects the GPIO SATA
    // power switch, else 0.
    uint32_t powerSwitchType = 0;
    // kForcedNvmeMiniport when --protocol zelnvme forces the miniport NVMe
    // route, else 0.
    uint32_t nvmeProtocol = 0;
    // Set by --prechk: a missing port-I/O driver is no longer forgiven.
    bool precheck = false;
    // Per-transfer latency of the rw engine; off only to measure what the
    // capture costs (ZELCLI_LATENCY=off, docs/performance.md).
    bool latencyCapture = true;
    // Start of the run, for elapsed times.
    uint64_t startMilliseconds = 0;
};

ProcessSwitches& processSwitches();

}  // namespace zel
