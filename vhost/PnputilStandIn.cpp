// The stand-ins of pnputil (the driver store) and pssuspend.
#include <cctype>

#include "vhost/StandInTools.h"

namespace zel {
namespace vhost {
namespace {

constexpr uint32_t kNotFound = 2;      // ERROR_FILE_NOT_FOUND
constexpr uint32_t kBadArguments = 87;  // ERROR_INVALID_PARAMETER
const char kBanner[] = "Microsoft PnP Utility\r\n\r\n";

bool same(const std::string& a, const char* b) { return upperCase(a) == upperCase(b); }

}  // namespace

ToolAnswer runPnputilStandIn(const std::vector<std::string>& args, ToolHost& host) {
    const bool force = args.size() == 3 && same(args[2], "/force");
    if (args.size() < 2 || args.size() > 3 || !same(args[0], "/delete-driver") || (args.size() == 3 && !force))
        return {kBadArguments, std::string(kBanner) + "Invalid arguments. See pnputil /? for usage.\r\n"};
    const std::string name = upperCase(args[1]);
    for (const DriverPackageDescription& package : host.description.driverPackages) {
        if (upperCase(package.name) != name || host.changes.deletedPackages().count(name)) continue;
        host.changes.deletedPackages().insert(name);
        host.changes.save();
        return {0, std::string(kBanner) + "Driver package deleted successfully.\r\n"};
    }
    return {kNotFound, std::string(kBanner) + "Failed to delete driver package: The system cannot find the file "
                                              "specified.\r\n"};
}

ToolAnswer runPssuspendStandIn(const std::vector<std::string>& args,
                               const std::function<bool(const std::string&)>& running) {
    bool resume = false;
    std::string name;
    for (const std::string& arg : args) {
        if (same(arg, "-accepteula")) continue;
        if (same(arg, "-r")) {
            resume = true;
            continue;
        }
        if (!name.empty()) return {static_cast<uint32_t>(-1), "Usage: pssuspend [-r] <process Id or name>\r\n"};
        name = arg;
    }
    if (name.empty()) return {static_cast<uint32_t>(-1), "Usage: pssuspend [-r] <process Id or name>\r\n"};
    if (!running(name)) return {static_cast<uint32_t>(-1), "Process " + name + " is not running.\r\n"};
    return {0, "Process " + name + (resume ? " resumed.\r\n" : " suspended.\r\n")};
}

}  // namespace vhost
}  // namespace zel
