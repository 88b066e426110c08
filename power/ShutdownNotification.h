#pragma once

#include "core/ErrorCodes.h"

namespace zel {

class DiskBase;

// Tells the NVMe controller of the disk that its power goes (CC.SHN) and
// waits, under the retry runner, until CSTS.SHST reports the shutdown
// complete; 0 then, else the code.
ErrorCode notifyNvmeShutdown(DiskBase& disk);

}  // namespace zel
