#pragma once

#include <cstdint>
#include <string>

namespace zel {

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

}  // namespace zel
