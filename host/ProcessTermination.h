#pragma once

#include <string>

namespace zel {

// Ends, with exit code 0x20000018, every process of this file name (any
// case) that this process started, found in a process snapshot: a tool left
// running after its time-out. Processes of other parents are never touched.
// Returns how many were ended.
int terminateChildProcesses(const std::string& imageName);

}  // namespace zel
