#pragma once

#include "host/SystemInfo.h"

namespace zel {

// The operating system's identity from the registry, printed as a log block.
class OsInfoCollector {
public:
    bool collect();
    void print() const;
    const OsInfo& info() const { return info_; }

private:
    OsInfo info_;
};

}  // namespace zel
