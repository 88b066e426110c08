#pragma once

#include <memory>

#include "power/PowerCycleFlow.h"

namespace zel {

// SATA drives: FLUSH CACHE EXT, then STANDBY IMMEDIATE.
class SataPowerCycleFlow : public PowerCycleFlow {
public:
    using PowerCycleFlow::PowerCycleFlow;

protected:
    ErrorCode prepare() override;
    const char* name() const override { return "SataPowerCycleFlow"; }
};

// NVMe drives: the shutdown notification through the controller's registers.
class NvmePowerCycleFlow : public PowerCycleFlow {
public:
    using PowerCycleFlow::PowerCycleFlow;

protected:
    ErrorCode prepare() override;
    const char* name() const override { return "NvmePowerCycleFlow"; }
};

// USB disks, and drives behind USB bridges: SYNCHRONIZE CACHE (10), then
// START STOP UNIT with START clear, which bridges pass on as a standby.
class UsbPowerCycleFlow : public PowerCycleFlow {
public:
    using PowerCycleFlow::PowerCycleFlow;

protected:
    ErrorCode prepare() override;
    const char* name() const override { return "UsbPowerCycleFlow"; }
};

// The flow for the DUT's kind: SATA, NVMe, or a USB (SCSI) disk.
std::unique_ptr<PowerCycleFlow> createPowerCycleFlow(const PowerJob& job, DiskBase& dut, IPowerControl& power);

}  // namespace zel
