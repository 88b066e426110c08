#pragma once

#include <cstdint>
#include <string>

#include "core/ErrorCodes.h"
#include "core/Uncopyable.h"
#include "power/PowerJob.h"

namespace zel {

class DiskBase;
class IPowerControl;

// One power cycle of the disk under test through a switch: tell the drive
// (graceful only), cut, wait, see it gone, restore, wait, find it again;
// the whole attempt is repeated while the DUT does not come back, up to
// --pwrcycle-retrycnt more times. Subclasses tell their kind of drive.
class PowerCycleFlow : private Uncopyable {
public:
    PowerCycleFlow(const PowerJob& job, DiskBase& dut, IPowerControl& power);
    virtual ~PowerCycleFlow() = default;

    ErrorCode run(bool graceful);

    // Attempts started, and where the DUT came back (-1: it did not).
    uint32_t attempts() const { return attempts_; }
    int dutNumber() const { return dutNumber_; }
    uint64_t poweredOffAt() const { return offAt_; }
    uint64_t poweredOnAt() const { return onAt_; }
    uint64_t goneAt() const { return goneAt_; }
    uint64_t backAt() const { return backAt_; }

protected:
    // Tells the drive its power goes: 0, or the code of the failure.
    virtual ErrorCode prepare() = 0;
    virtual const char* name() const = 0;
    DiskBase& dut() { return dut_; }

private:
    ErrorCode attempt(bool graceful);
    ErrorCode shortCycles();
    ErrorCode switchPower(bool on);
    bool waitUntilGone();
    bool waitForDut();
    bool dutIsBack();
    bool dutAtItsNumber() const;
    ErrorCode checkHmb();

    const PowerJob& job_;
    DiskBase& dut_;
    IPowerControl& power_;
    std::string serial_;
    uint32_t attempts_ = 0;
    int dutNumber_ = -1;
    uint64_t offAt_ = 0;
    uint64_t onAt_ = 0;
    uint64_t goneAt_ = 0;
    uint64_t backAt_ = 0;
};

}  // namespace zel
