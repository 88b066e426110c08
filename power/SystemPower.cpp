#include "power/SystemPower.h"

#include <windows.h>

#include <algorithm>
#include <chrono>
#include <thread>

#include "core/Clock.h"
#include "core/DeviceApi.h"
#include "core/Logger.h"
#include "disk/PortIoDriver.h"
#include "power/ColdBoot.h"
#include "power/D3HotCycle.h"
#include "power/PowerRegisters.h"

namespace zel {
namespace {

using namespace powerreg;

// A host still running this long after it was asked to go down did not go.
constexpr auto kGoingDownWait = std::chrono::milliseconds(10000);
constexpr char kShutdownCommand[] = "shutdown -s -t 0";
// Whole seconds of --sleepdelay, kept where the alarm arithmetic cannot overflow.
constexpr double kMaxDelaySeconds = 0x3FFFFFFF;

ErrorCode fail(ErrorCode code) {
    setLastError(code);
    return code;
}

uint32_t delaySeconds(const PowerJob& job) {
    return static_cast<uint32_t>(std::min(std::max(job.sleepDelaySeconds, 0.0), kMaxDelaySeconds));
}

// Reset control register: arm a full reset, then raise RST_CPU.
ErrorCode runCpuColdReset() {
    logInfo("Entering CPU cold reset...");
    PortIoDriver& driver = PortIoDriver::instance();
    uint32_t control = 0;
    if (!driver.open() || !driver.readPort(kResetControlPort, &control, 1)) return fail(err::kColdResetFailed);
    const uint8_t armed = resetArmed(static_cast<uint8_t>(control));
    printStatus("Write IO 0xCF9 %X, arm full reset\n", armed);
    if (!driver.writePort(kResetControlPort, armed, 1)) return fail(err::kColdResetFailed);
    const uint8_t fired = resetFired(static_cast<uint8_t>(control));
    printStatus("Write IO 0xCF9 %X, reset CPU\n", fired);
    if (!driver.writePort(kResetControlPort, fired, 1)) return fail(err::kColdResetFailed);
    logInfo("Still running after the reset write");
    return 0;
}

ErrorCode runReboot() {
    logInfo("Rebooting system...");
    if (!deviceApi().exitWindows(EWX_REBOOT | EWX_FORCE, SHTDN_REASON_MAJOR_OTHER | SHTDN_REASON_FLAG_PLANNED)) {
        logWarning("Reboot refused %s", errorText(takeSystemLastError()).c_str());
        return fail(err::kRebootFailed);
    }
    std::this_thread::sleep_for(kGoingDownWait);
    return fail(err::kRebootFailed);
}

ErrorCode runShutdown() {
    deviceApi().runShutdownCommand(kShutdownCommand);
    std::this_thread::sleep_for(kGoingDownWait);
    return fail(err::kShutdownFailed);
}

// S3 or S4 with a wake timer; SetSuspendState returns once the host is up.
ErrorCode runSleep(bool hibernate, uint32_t wakeSeconds) {
    const char* state = hibernate ? "S4" : "S3";
    const ErrorCode failure = hibernate ? err::kS4Failed : err::kS3Failed;
    logInfo("Entering %s...", state);
    logInfo("Wake-up timer %u seconds", wakeSeconds);
    if (!deviceApi().setWakeTimer(wakeSeconds)) {
        logWarning("Failed to set wake-up timer %s", errorText(takeSystemLastError()).c_str());
        return fail(failure);
    }
    const uint64_t start = nowMilliseconds();
    if (!deviceApi().setSuspendState(hibernate, FALSE, FALSE)) {
        logWarning("Failed to suspend %s", errorText(takeSystemLastError()).c_str());
        return fail(failure);
    }
    logInfo("Resumed from %s after %.2f seconds", state, secondsSince(start));
    return 0;
}

}  // namespace

ErrorCode runSystemPower(const PowerJob& job, DiskBase& disk) {
    switch (job.control) {
        case PowerControl::CpuReset: return runCpuColdReset();
        case PowerControl::ColdBoot: return runColdBoot(static_cast<int>(delaySeconds(job)));
        case PowerControl::Reboot: return runReboot();
        case PowerControl::Shutdown: return runShutdown();
        case PowerControl::S3: return runSleep(false, delaySeconds(job));
        case PowerControl::S4: return runSleep(true, delaySeconds(job));
        case PowerControl::D3Hot: return runD3HotCycle(disk, std::min(std::max(job.sleepDelaySeconds, 0.0), kMaxDelaySeconds));
        default: return fail(err::kNotSupported);
    }
}

}  // namespace zel
