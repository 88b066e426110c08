#pragma once

#include <atomic>
#include <cstdint>

#include "core/ErrorCodes.h"
#include "disk/DiskBase.h"
#include "disk/RetryTaskRecord.h"

namespace zel {

// Tells the NVMe controller of the disk that a normal shutdown is coming
// (CC.SHN through BAR0) and waits until CSTS.SHST reports it complete: up to
// 10 attempts, one second apart, each cut off after 8 seconds. BAR0 is read
// from the disk's own PCI function in this call, never taken from a loaded
// configuration. Answers 0 when the shutdown completed; 0x20000008 for a
// disk that is not NVMe; 0x20000111 with a WARNING when the controller
// cannot be notified (port-I/O driver not loaded, PCI function unknown, no
// BAR0) or the notification failed, in which case CC is put back to the
// value read before.
ErrorCode notifyNvmeShutdown(DiskBase& disk);

// What the attempts share: the controller's BAR0 and the CC value the first
// read found (atomics, since a timed-out attempt may still be running).
struct ShutdownNotice {
    uint64_t bar0 = 0;
    std::atomic<bool> ccKnown{false};
    std::atomic<uint32_t> ccBefore{0};
};

// One attempt on the ShutdownNotice the argument points to: 0 when SHST
// reads complete, 1 on any other outcome.
uint32_t retryNotifyShutdown(void* notice);

// The retried call notifyNvmeShutdown runs.
RetryTask shutdownNotificationTask(ShutdownNotice* notice);

}  // namespace zel
