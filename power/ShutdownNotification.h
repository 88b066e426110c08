#pragma once

#include <cstdint>

#include "core/ErrorCodes.h"
#include "disk/DiskBase.h"
#include "disk/RetryTask.h"

namespace zel {

// Tells the NVMe controller of the disk that a normal shutdown is coming
// (CC.SHN through BAR0) and waits until CSTS.SHST reports it complete: up to
// 10 attempts, one second apart, each cut off after 8 seconds. 0 when it
// completed, or when the controller has no BAR0 (nothing to notify); else
// 0x20000111 after the WARNING "Failed to set shutdown notification", or
// 0x20000008 for a disk that is not NVMe.
ErrorCode notifyNvmeShutdown(DiskBase& disk);

// One attempt on the controller whose 32-bit BAR0 physical address is the
// argument: 0 when SHST reads complete, 1 on any other outcome.
uint32_t retryNotifyShutdown(void* bar0);

// The retried call notifyNvmeShutdown runs.
RetryTask shutdownNotificationTask(uint32_t bar0);

}  // namespace zel
