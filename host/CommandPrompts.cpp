#include "host/CommandPrompts.h"

namespace zel {

std::vector<uint32_t> commandPromptIds(const std::vector<ProcessEntry>& processes) {
    std::vector<uint32_t> ids;
    for (size_t i = 1; i < processes.size(); ++i)
        if (processes[i].executable == "cmd.exe") ids.push_back(processes[i].id);
    return ids;
}

}  // namespace zel
