#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "protocol/IProtocol.h"

namespace zel {

namespace protocolcode {
constexpr uint32_t kAtaOverAta = 1;
constexpr uint32_t kAtaOverUsb = 2;
constexpr uint32_t kScsi = 4;
constexpr uint32_t kNvmeByStornvme = 6;
constexpr uint32_t kNvmeByScsiMiniport = 7;
constexpr uint32_t kNvmeByIrst = 8;
}  // namespace protocolcode

using ProtocolFactory = std::function<std::unique_ptr<IProtocol>()>;

// A new protocol object for a route code. Codes 0, 3 and 5 have no route:
// asking for one is a programming error (the empty factory throws).
std::unique_ptr<IProtocol> createProtocol(uint32_t code);

}  // namespace zel
