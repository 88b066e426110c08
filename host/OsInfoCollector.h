#pragma once

#include "host/SystemInfo.h"

namespace zel {

// The operating system's identity from the registry, printed as a log block.
class OsInfoCollector {
public:
    OsInfoCollector() = default;
    explicit OsInfoCollector(const OsInfo& info) : info_(info) {}
    bool collect();
    void print() const;
    const OsInfo& info() const { return info_; }

private:
    OsInfo info_;
};

}  // namespace zel
