#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zel {

struct ProcessEntry {
    uint32_t id = 0;
    std::string executable;  // file name only, as the process list gives it
};

// Ids of the command prompts in a process list in its order: the first
// entry is never one (the system's idle process leads the list), and the
// name must be "cmd.exe" exactly, case included.
std::vector<uint32_t> commandPromptIds(const std::vector<ProcessEntry>& processes);

}  // namespace zel
