#pragma once

#include <cstdint>

namespace zel {

// File names of the external tools (docs/host-tools.md).
namespace toolfile {
constexpr char kDevcon[] = "devcon_amd64.exe";
constexpr char kPssuspend[] = "pssuspend64.exe";
constexpr char kDiskpart[] = "diskpart.exe";
constexpr char kPnputil[] = "pnputil.exe";
}  // namespace toolfile

// Time-outs the global commands pass, in seconds (0: none). Rescan and
// pssuspend wait for ever, as scripts expect; a device that will not stop
// can hang devcon, which is then ended; diskpart is given long enough for a
// quick format and left to finish when it overruns, since ending it midway
// leaves a half-written partition table.
constexpr double kRescanTimeoutSeconds = 0;
constexpr double kSwitchDeviceTimeoutSeconds = 120;
constexpr double kDiskpartTimeoutSeconds = 300;
constexpr double kPssuspendTimeoutSeconds = 0;

// --update-driver installs the driver for the maker's own NVMe controller.
constexpr uint16_t kOwnNvmeVendorId = 0x1F2E;
constexpr uint16_t kOwnNvmeDeviceId = 0xA809;

}  // namespace zel
