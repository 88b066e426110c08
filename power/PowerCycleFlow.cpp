#include "power/PowerCycleFlow.h"

#include <windows.h>

#include <optional>

#include "core/Clock.h"
#include "core/Logger.h"
#include "disk/DiskBase.h"
#include "disk/DiskList.h"
#include "disk/DiskProbe.h"
#include "power/IPowerControl.h"
#include "power/Waiting.h"
#include "protocol/CommandRecords.h"
#include "protocol/IProtocol.h"
#include "protocol/Opcodes.h"

namespace zel {
namespace {

constexpr uint32_t kHostMemoryBuffer = 0x0D;

}  // namespace

PowerCycleFlow::PowerCycleFlow(const PowerJob& job, DiskBase& dut, IPowerControl& power)
    : job_(job), dut_(dut), power_(power), serial_(dut.serialNumber()), dutNumber_(dut.number()) {}

ErrorCode PowerCycleFlow::run(bool graceful) {
    if (ErrorCode code = shortCycles()) return code;
    // The drive is told at its own number, so after rapid cuts it has to be
    // back there first.
    if (graceful && job_.shortCycles > 0 && !waitFor(job_.onTimeoutSeconds, [&] { return dutAtItsNumber(); })) {
        logWarning("[%s] Disk%d is not back after the short power cycles", name(), dutNumber_);
        setLastError(err::kPowerOnTimeout);
        return err::kPowerOnTimeout;
    }
    for (;;) {
        ++attempts_;
        const ErrorCode code = attempt(graceful);
        if (code != err::kPowerOnTimeout || attempts_ > job_.retryCount) return code;
        logWarning("[%s] Disk%d is not back, retry power cycle flow (%u/%u)", name(), dutNumber_, attempts_,
                   job_.retryCount);
    }
}

// A graceful cycle tells the drive or does not cut. A retry follows a DUT
// that did not come back, so it is told only if it is there after all.
ErrorCode PowerCycleFlow::attempt(bool graceful) {
    const bool reachable = graceful && dutAtItsNumber();
    if (graceful && !reachable && attempts_ == 1) {
        logWarning("[%s] Disk%d cannot be told of the shutdown: it is not there", name(), dutNumber_);
        setLastError(err::kPowerCycleFlow);
        return err::kPowerCycleFlow;
    }
    if (reachable)
        if (ErrorCode code = prepare()) return code;
    if (ErrorCode code = switchPower(false)) return code;
    offAt_ = nowMilliseconds();
    sleepSeconds(job_.commandDelaySeconds);
    sleepSeconds(job_.offDelaySeconds);
    if (!waitUntilGone()) {
        logWarning("[%s] Disk%d is still present after power off", name(), dutNumber_);
        switchPower(true);  // whatever the switch does power comes back
        setLastError(err::kPowerCycleFlow);
        return err::kPowerCycleFlow;
    }
    goneAt_ = nowMilliseconds();
    if (ErrorCode code = switchPower(true)) return code;
    onAt_ = nowMilliseconds();
    sleepSeconds(job_.commandDelaySeconds);
    sleepSeconds(job_.onDelaySeconds);
    if (!waitForDut()) {
        setLastError(err::kPowerOnTimeout);
        return err::kPowerOnTimeout;
    }
    backAt_ = nowMilliseconds();
    logInfo("[%s] Disk%d is back after %.2f s", name(), dutNumber_, secondsSince(onAt_));
    return job_.checkHmb ? checkHmb() : 0;
}

// Rapid cuts before the flow proper; the drive is not told of them.
ErrorCode PowerCycleFlow::shortCycles() {
    for (uint32_t i = 0; i < job_.shortCycles; ++i) {
        logInfo("[%s] Short power cycle %u/%u", name(), i + 1, job_.shortCycles);
        if (ErrorCode code = switchPower(false)) return code;
        Sleep(job_.shortCycleIntervalMs);
        if (ErrorCode code = switchPower(true)) return code;
        Sleep(job_.shortCycleIntervalMs);
    }
    return 0;
}

ErrorCode PowerCycleFlow::switchPower(bool on) {
    logInfo("[%s] Power %s DUT", name(), on ? "on" : "off");
    if (on ? power_.powerOn() : power_.powerOff()) return 0;
    logWarning("[%s] Power switch did not take the power %s command %s", name(), on ? "on" : "off",
               errorText(lastError()).c_str());
    setLastError(err::kPowerCommand);
    return err::kPowerCommand;
}

// The DUT as it was found, at the number its commands go to.
bool PowerCycleFlow::dutAtItsNumber() const {
    const std::optional<DiskIdentity> identity = probeDisk(dut_.number());
    return identity && (serial_.empty() || identity->serial == serial_);
}

bool PowerCycleFlow::waitUntilGone() {
    return waitUntilDiskGone(dutNumber_, job_.offTimeoutSeconds);
}

bool PowerCycleFlow::waitForDut() {
    return waitFor(job_.onTimeoutSeconds, [&] { return dutIsBack(); });
}

// By --diskpattern, else by --disksn, else by the serial number the DUT had;
// a DUT without one is looked for at its old number.
bool PowerCycleFlow::dutIsBack() {
    const std::string& pattern = job_.disk.pattern;
    const std::string& serial = job_.disk.serial.empty() ? serial_ : job_.disk.serial;
    for (int number = 0; number < kMaxDiskNumber; ++number) {
        if (pattern.empty() && serial.empty() && number != dutNumber_) continue;
        std::optional<DiskIdentity> identity = probeDisk(number);
        if (!identity) continue;
        const bool matches = !pattern.empty()  ? diskMatchesPattern(DiskBase(*identity), pattern)
                             : !serial.empty() ? identity->serial == serial
                                               : true;
        if (!matches) continue;
        dutNumber_ = number;
        return true;
    }
    return false;
}

// Get Features, Host Memory Buffer: EHM (bit 0 of dword 0) set again by the
// driver once the controller is back.
ErrorCode PowerCycleFlow::checkHmb() {
    if (!dut_.protocol() || dut_.diskKind() != diskkind::kNvme) {
        logWarning("[%s] --chk-hmb: Disk%d is not an NVMe disk; HMB can be checked on NVMe disks only", name(), dutNumber_);
        setLastError(err::kFunctionNotSupported);
        return err::kFunctionNotSupported;
    }
    NvmeCommand command;
    command.command[0] = nvmeadmin::kGetFeatures;
    command.setDword(10, kHostMemoryBuffer);
    command.direction = nvmedir::kNone;
    command.diskNumber = static_cast<uint32_t>(dutNumber_);
    if (!dut_.protocol()->sendCommand(command.diskNumber, nullptr, 0, &command)) {
        logWarning("[%s] Cannot read the HMB feature of Disk%d %s", name(), dutNumber_, errorText(lastError()).c_str());
        setLastError(err::kPowerCycleFlow);
        return err::kPowerCycleFlow;
    }
    const bool enabled = command.completionDword(0) & 0x1;
    logInfo("[%s] HMB enabled? %d", name(), enabled ? 1 : 0);
    if (enabled) return 0;
    setLastError(err::kPowerCycleFlow);
    return err::kPowerCycleFlow;
}

}  // namespace zel
