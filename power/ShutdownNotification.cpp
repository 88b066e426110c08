#include "power/ShutdownNotification.h"

#include <cstdint>

#include "core/Logger.h"
#include "disk/DiskTypes.h"
#include "disk/PortIoDriver.h"
#include "disk/RetryTask.h"
#include "power/OwnPciFunction.h"
#include "power/PowerRegisters.h"

namespace zel {
namespace {

using namespace powerreg;

ErrorCode cannotNotify(const DiskBase& disk, const char* reason) {
    logWarning("Cannot notify the NVMe controller of disk %d: %s", disk.number(), reason);
    setLastError(err::kPowerCycleFlow);
    return err::kPowerCycleFlow;
}

// Writes back the CC value read before the notification and checks it.
uint32_t restoreCc(void* argument) {
    const ShutdownNotice& notice = *static_cast<const ShutdownNotice*>(argument);
    PortIoDriver& driver = PortIoDriver::instance();
    const uint32_t before = notice.ccBefore.load();
    uint32_t cc = 0;
    if (!driver.writePhysicalDword(notice.bar0 + kCc, before) || !driver.readPhysicalDword(notice.bar0 + kCc, &cc))
        return 1;
    return cc == before ? 0 : 1;
}

// A failed notification must not leave the controller shutting down while
// its power stays on.
void putCcBack(const DiskBase& disk, ShutdownNotice& notice) {
    if (!notice.ccKnown.load()) return;  // no CC read, so nothing was written
    RetryTask task;
    task.function = restoreCc;
    task.argument = &notice;
    task.attemptTimeout = 8.0;
    task.maxAttempts = 1;
    if (runRetryTask(task) == retry::kSuccess)
        logWarning("Restored CC=%X of disk %d after the failed shutdown notification", notice.ccBefore.load(),
                   disk.number());
    else
        logWarning("Cannot restore CC=%X of disk %d: its controller may stay in shutdown", notice.ccBefore.load(),
                   disk.number());
}

}  // namespace

uint32_t retryNotifyShutdown(void* argument) {
    ShutdownNotice& notice = *static_cast<ShutdownNotice*>(argument);
    const uint64_t bar0 = notice.bar0;
    logInfo("Set shutdown notification to NVMe drive.");
    const uint64_t ccAddress = bar0 + kCc;
    logDebug("retryNotifyShutdown() read CC at 0x%llX", static_cast<unsigned long long>(ccAddress));
    PortIoDriver& driver = PortIoDriver::instance();
    uint32_t cc = 0;
    if (!driver.readPhysicalDword(ccAddress, &cc)) return 1;
    if (!notice.ccKnown.load()) {
        notice.ccBefore.store(cc);
        notice.ccKnown.store(true);
    }
    logDebug("retryNotifyShutdown() CC=%X", cc);
    const uint32_t notified = ccWithNormalShutdown(cc);
    logDebug("retryNotifyShutdown() write CC=%X", notified);
    if (!driver.writePhysicalDword(ccAddress, notified)) return 1;
    if (!driver.readPhysicalDword(ccAddress, &cc)) return 1;
    logDebug("retryNotifyShutdown() verify CC=%X", cc);
    if (!ccRequestsNormalShutdown(cc)) return 1;
    logDebug("retryNotifyShutdown() read CSTS at 0x%llX+0x1C", static_cast<unsigned long long>(bar0));
    uint32_t csts = 0;
    if (!driver.readPhysicalDword(bar0 + kCsts, &csts)) return 1;
    const uint32_t shst = shutdownStatus(csts);
    logInfo("SHST=%X, complete? %d", shst, shst == kShstComplete ? 1 : 0);
    return shst == kShstComplete ? 0 : 1;
}

RetryTask shutdownNotificationTask(ShutdownNotice* notice) {
    RetryTask task;
    task.function = retryNotifyShutdown;
    task.argument = notice;
    task.successIsZero = 1;
    task.interval = 1.0;
    task.attemptTimeout = 8.0;
    task.maxAttempts = 10;
    return task;
}

ErrorCode notifyNvmeShutdown(DiskBase& disk) {
    if (disk.diskKind() != diskkind::kNvme) {
        setLastError(err::kFunctionNotSupported);
        return err::kFunctionNotSupported;
    }
    if (!PortIoDriver::instance().open()) return cannotNotify(disk, "the port-I/O driver is not loaded");
    const std::optional<PcieInfo> own = readOwnPciFunction(disk);
    if (!own) return cannotNotify(disk, "its PCI function cannot be read");
    if (own->bar0 == 0) return cannotNotify(disk, "its PCI function has no BAR0");
    ShutdownNotice notice;
    notice.bar0 = own->bar0;
    RetryTask task = shutdownNotificationTask(&notice);
    if (runRetryTask(task) == retry::kSuccess) return 0;
    logWarning("Failed to set shutdown notification");
    putCcBack(disk, notice);
    setLastError(err::kPowerCycleFlow);
    return err::kPowerCycleFlow;
}

}  // namespace zel
