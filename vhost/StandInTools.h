#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "vhost/HostDescription.h"
#include "vhost/SystemChanges.h"

namespace zel {
namespace vhost {

// What a stand-in tool prints and ends with.
struct ToolAnswer {
    uint32_t exitCode = 0;
    std::string output;
};

// The virtual host as the stand-ins of the system tools see and change it.
// osLetter: the drive letter of the running Windows, which devcon can only
// change on reboot and diskpart refuses to clean.
struct ToolHost {
    const HostDescription& description;
    SystemChanges& changes;
    char osLetter = 'C';
};

// devcon: rescan, enable, disable, remove [/r], update, dp_enum. Exit codes
// as devcon's: 0 done, 1 needs a reboot, 2 failed, 3 wrong arguments.
ToolAnswer runDevconStandIn(const std::vector<std::string>& args, ToolHost& host);

// diskpart /s: the script's lines, one command each, stopping at the first
// that fails. Exit codes as diskpart's: 4 a service error, 5 a wrong command.
ToolAnswer runDiskpartStandIn(const std::string& script, ToolHost& host);

// pnputil /delete-driver <published name> [/force].
ToolAnswer runPnputilStandIn(const std::vector<std::string>& args, ToolHost& host);

// pssuspend [-accepteula] [-r] <process name>: a dry run suspends nothing,
// but a name no running process has fails as it would on a real host.
// running answers whether a process of that name (".exe" optional) runs.
ToolAnswer runPssuspendStandIn(const std::vector<std::string>& args,
                               const std::function<bool(const std::string&)>& running);

}  // namespace vhost
}  // namespace zel
