// Replaced when the system-power branch lands.
#include "core/ErrorCodes.h"
#include "power/ShutdownNotification.h"
#include "power/SystemPower.h"

namespace zel {

ErrorCode notifyNvmeShutdown(DiskBase&) {
    setLastError(err::kNotSupported);
    return err::kNotSupported;
}

ErrorCode runSystemPower(const PowerJob&, DiskBase&) {
    setLastError(err::kNotSupported);
    return err::kNotSupported;
}

}  // namespace zel
