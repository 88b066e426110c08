#pragma once

#include <string>

#include "core/ErrorCodes.h"

namespace zel {

// --update-driver: devcon update of the hardware id from the INF file; for
// an INF already in the system's INF folder, rescan and restart the device
// as well. Answers 0x2000001E when a step fails and, as scripts know it,
// also when the last step succeeds (0 when it fails).
ErrorCode updateDriver(const std::string& hardwareId, const std::string& infPath);

// --delete-driver: deletes every driver package that devcon dp_enum lists
// with the keyword, removes the device and rescans.
ErrorCode deleteDriver(const std::string& hardwareId, const std::string& keyword);

}  // namespace zel
