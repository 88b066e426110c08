#pragma once

#include <cstdint>
#include <string>

#include "host/RunRequest.h"

namespace zel {

// devcon beside the program: rescan, enable and disable a device, and the
// single runs of the driver commands.
class DevconWrapper {
public:
    // "PCI\VEN_%04X&DEV_%04X".
    static std::string hardwareId(uint16_t vendorId, uint16_t deviceId);

    bool rescan(double timeoutSeconds);
    bool enable(const std::string& hardwareId, double timeoutSeconds);
    bool disable(const std::string& hardwareId, double timeoutSeconds);

    // One run for --update-driver and --delete-driver, logged "Execute... "
    // with its output; the tool's result (runAsync, no time-out).
    int execute(const std::string& arguments, std::string* output = nullptr);

private:
    bool switchDevice(const char* verb, const std::string& hardwareId, double timeoutSeconds);
    // False when devcon could not be started (last error set).
    bool runDevcon(const std::string& arguments, double timeoutSeconds, RunResult* result);
};

}  // namespace zel
