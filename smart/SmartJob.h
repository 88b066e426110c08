#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/ResultFileNames.h"
#include "disk/DiskSelector.h"

namespace zel {

// One smart run as its options ask for it, defaults applied. The lists are
// the comma-separated values of their options, in order.
struct SmartJob {
    DiskSelector disk;
    std::vector<uint32_t> logIds;
    std::vector<uint32_t> logPageSizes;
    std::string configPath = "SMART.ini";
    std::string outLog;
    std::vector<std::string> outBins{kDefaultOutputBin};
    std::string outIni = kDefaultOutputIni;
    std::string outCsv;
    std::vector<std::string> previousBins;
    std::vector<std::string> initialBins;
    std::string resultJson = kDefaultActionResultJson;  // "smart_info" goes here
};

}  // namespace zel
