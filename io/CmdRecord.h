#pragma once

#include <string>
#include <utility>
#include <vector>

#include "core/ErrorCodes.h"

namespace zel {

using TextPairs = std::vector<std::pair<std::string, std::string>>;

// One cmd run as the run record shows it: the request as built, whether it
// reached the device, what came back (the [cmd] keys) and the result.
struct CmdRunRecord {
    bool planned = false;  // false: refused before a request was built
    bool sent = false;     // the request went to the device (or the host's I/O)
    TextPairs request;
    TextPairs answer;
    ErrorCode result = 0;
    std::string problem;  // the WARNING line of a refusal or a failure
};

}  // namespace zel
