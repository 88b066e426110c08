#pragma once

#include <cstdint>
#include <vector>

#include "core/ErrorCodes.h"
#include "disk/DiskTypes.h"
#include "io/FileRunSettings.h"
#include "io/RwJob.h"

namespace zel {

class DiskBase;

// The file-level branch of rw, on the volumes the disk has now (a format
// of this run may have changed them since the disk list was built).
ErrorCode runFileMode(const RwJob& job, RwMode mode, DiskBase& disk, const FileRunSettings& settings);

// The disk's volumes with their sizes, read again through the seam.
std::vector<DriveLetter> currentVolumes(int diskNumber);

// The SUCCESS line of one file-level thread, or its FAIL line with the code
// (taken from the thread's own last error: other threads may have set the
// process-wide one since).
void logThreadEnd(uint32_t thread, const char* name, int diskNumber, ErrorCode code, const FilePosition& at);

}  // namespace zel
