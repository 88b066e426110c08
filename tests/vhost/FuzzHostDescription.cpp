#include <cstdint>
#include <string>

#include "vhost/HostDescription.h"

// A description either loads or names its problem; it never throws or
// crashes, and a loaded one has a whole number of sectors for every disk.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    zel::vhost::HostDescription host;
    std::string problem;
    const bool loaded = zel::vhost::parseHostDescription(std::string(reinterpret_cast<const char*>(data), size),
                                                         &host, &problem);
    if (loaded != problem.empty()) __builtin_trap();
    if (loaded)
        for (const auto& disk : host.disks)
            if (disk.capacityBytes == 0 || disk.logicalSectorSize == 0 ||
                disk.capacityBytes % disk.logicalSectorSize != 0 || disk.capacityBytes > INT64_MAX ||
                disk.physicalSectorSize % disk.logicalSectorSize != 0 || disk.number < 0)
                __builtin_trap();
    return 0;
}
