#pragma once

#include "host/SystemInfo.h"

namespace zel {

// Firmware, board and processor identity from the registry.
class PlatformInfoCollector {
public:
    PlatformInfoCollector() = default;
    explicit PlatformInfoCollector(const PlatformInfo& info) : info_(info) {}
    bool collect();
    void print() const;
    const PlatformInfo& info() const { return info_; }

private:
    PlatformInfo info_;
};

}  // namespace zel
