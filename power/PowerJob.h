#pragma once

#include <cstdint>
#include <string>

#include "core/ResultFileNames.h"
#include "disk/DiskSelector.h"

namespace zel {

// What --pwrctrl asks for. "shutdown" is accepted although the option's
// help text does not list it.
enum class PowerControl {
    On, Off, Measure, Voltage, Gsd, Ugsd, CpuReset, ColdBoot, Reboot, S3, S4, D3Hot, Shutdown, Unknown
};

PowerControl powerControlFromText(const std::string& text);

// One pwr run as its options ask for it. Durations are seconds, 0 = no
// wait or no limit, as everywhere on the command line; the time-outs of
// the DUT's leaving and return have finite defaults.
struct PowerJob {
    DiskSelector disk;
    PowerControl control = PowerControl::Unknown;
    std::string controlName;  // --pwrctrl as given
    int32_t switchId = -1;  // --pwrid, the power-switch board's disk number
    std::string switchModel;
    std::string switchType;  // --pwrtype
    std::string voltageCondition;
    double offDelaySeconds = 0;
    // A drive that never leaves or never comes back must not hang the step.
    double offTimeoutSeconds = 60;
    double onDelaySeconds = 0;
    double onTimeoutSeconds = 120;
    double sleepDelaySeconds = 60;  // RTC alarm, wake timer, time in D3hot
    double commandDelaySeconds = 0;
    uint32_t shortCycles = 0;
    uint32_t shortCycleIntervalMs = 0;
    uint32_t retryCount = 0;
    bool checkHmb = false;
    std::string smartConfig;
    std::string outIni = kDefaultOutputIni;
};

}  // namespace zel
