#pragma once

#include <cstdint>
#include <string>

namespace zel {

// Which disk a run means, as --diskid, --diskmodel, --disksn and
// --diskpattern name it. An empty text or id -1 is "not given".
struct DiskSelector {
    int32_t id = -1;
    std::string model;
    std::string serial;
    std::string pattern;

    static DiskSelector byNumber(int32_t number) { return DiskSelector{number, "", "", ""}; }
};

}  // namespace zel
