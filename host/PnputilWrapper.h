#pragma once

#include <string>

namespace zel {

// The system's pnputil: deletes a driver package from the driver store.
class PnputilWrapper {
public:
    // "/delete-driver <name> /force", logged "Execute... pnputil "; the
    // tool's result (runAsync, no time-out).
    int deleteDriver(const std::string& publishedName);
};

}  // namespace zel
