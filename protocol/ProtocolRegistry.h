#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "protocol/IProtocol.h"
#include "protocol/ProtocolCode.h"

namespace zel {

using ProtocolFactory = std::function<std::unique_ptr<IProtocol>()>;

// A new protocol object for a route code. kNone (and the unused numbers 3
// and 5) have no route: asking for one is a programming error (the empty
// factory throws).
std::unique_ptr<IProtocol> createProtocol(ProtocolCode code);

}  // namespace zel
