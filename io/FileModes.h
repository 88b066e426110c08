#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/ErrorCodes.h"
#include "disk/DiskTypes.h"
#include "io/RwJob.h"

namespace zel {

class DiskBase;

// What a file-level thread reports in its SUCCESS or FAIL line: the file it
// was writing and how far it got.
struct FilePosition {
    std::string path;
    uint64_t offset = 0;
};

// Settings shared by the file-level modes.
struct FileRunSettings {
    int diskNumber = -1;
    uint32_t sectorSize = 512;
    uint32_t threads = 1;
    uint32_t blockBytes = 0;  // whole sectors, above 0
    uint64_t random = 0;      // for a random coverage
};

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
