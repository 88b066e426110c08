#include "host/SystemInfo.h"

#include "core/TextFormat.h"

namespace zel {

int processorTypeFromName(const std::string& name) {
    const std::string upper = toUpper(name);
    if (upper.find("INTEL") != std::string::npos) return kProcessorIntel;
    if (upper.find("AMD") != std::string::npos) return kProcessorAmd;
    return kProcessorUnknown;
}

}  // namespace zel
