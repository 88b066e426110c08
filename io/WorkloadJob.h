#pragma once

#include <string>

#include "core/ResultFileNames.h"
#include "disk/DiskSelector.h"

namespace zel {

// One workload-file run: analyse (--analyze) or replay the file on the disk.
struct WorkloadJob {
    DiskSelector disk;
    std::string path;
    bool analyzeOnly = false;
    std::string commfile = kDefaultActionResultJson;  // never empty
};

}  // namespace zel
