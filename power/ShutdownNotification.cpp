#include "power/ShutdownNotification.h"

#include <cstdint>

#include "core/Logger.h"
#include "disk/DiskTypes.h"
#include "disk/PortIoDriver.h"
#include "power/PowerRegisters.h"

namespace zel {

using namespace power_reg;

uint32_t retryNotifyShutdown(void* argument) {
    const uint32_t bar0 = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(argument));
    logInfo("Set shutdown notification to NVMe drive.");
    const uint32_t ccAddress = bar0 + kCc;
    logDebug("retryNotifyShutdown() read CC at 0x%X", ccAddress);
    PortIoDriver& driver = PortIoDriver::instance();
    uint32_t cc = 0;
    if (!driver.readPhysicalDword(ccAddress, &cc)) return 1;
    logDebug("retryNotifyShutdown() CC=%X", cc);
    const uint32_t notified = ccWithNormalShutdown(cc);
    logDebug("retryNotifyShutdown() write CC=%X", notified);
    if (!driver.writePhysicalDword(ccAddress, notified)) return 1;
    if (!driver.readPhysicalDword(ccAddress, &cc)) return 1;
    logDebug("retryNotifyShutdown() verify CC=%X", cc);
    if (!ccRequestsNormalShutdown(cc)) return 1;
    logDebug("retryNotifyShutdown() read CSTS at 0x%X+0x1C", bar0);
    uint32_t csts = 0;
    if (!driver.readPhysicalDword(bar0 + kCsts, &csts)) return 1;
    const uint32_t shst = shutdownStatus(csts);
    logInfo("SHST=%X, complete? %d", shst, shst == kShstComplete ? 1 : 0);
    return shst == kShstComplete ? 0 : 1;
}

RetryTask shutdownNotificationTask(uint32_t bar0) {
    RetryTask task;
    task.function = retryNotifyShutdown;
    task.argument = reinterpret_cast<void*>(static_cast<uintptr_t>(bar0));
    task.successIsZero = 1;
    task.interval = 1.0;
    task.attemptTimeout = 8.0;
    task.maxAttempts = 10;
    return task;
}

ErrorCode notifyNvmeShutdown(DiskBase& disk) {
    if (disk.diskKind() != disk_kind::kNvme) {
        setLastError(err::kFunctionNotSupported);
        return err::kFunctionNotSupported;
    }
    const uint32_t bar0 = disk.pcieInfo() ? static_cast<uint32_t>(disk.pcieInfo()->bar0) : 0;
    if (bar0 == 0) return 0;
    PortIoDriver::instance().open();  // a missing driver fails each attempt's reads
    RetryTask task = shutdownNotificationTask(bar0);
    if (runRetryTask(task) == retry::kSuccess) return 0;
    logWarning("Failed to set shutdown notification");
    setLastError(err::kPowerCycleFlow);
    return err::kPowerCycleFlow;
}

}  // namespace zel
