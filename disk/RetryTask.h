#pragma once

#include "disk/RetryTaskRecord.h"

namespace zel {

// Runs the task's attempts until one ends the run. An attempt that outlives
// attemptTimeout is terminated with exit code 0x20000019, so the function
// must hold no lock that the rest of the program needs while it may hang.
uint32_t runRetryTask(RetryTask& task);

}  // namespace zel
