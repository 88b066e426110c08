#pragma once

#include <cstdint>

#include "core/ProcessSwitches.h"

namespace zel {

// The pass-through routes by the numbers scripts see ("ProtocolType",
// "protocol_type"); kNone: the disk has no route.
enum class ProtocolCode : uint32_t {
    kNone = 0,
    kAtaOverAta = 1,
    kAtaOverUsb = 2,
    kScsi = 4,
    kNvmeByStornvme = 6,
    kNvmeByScsiMiniport = 7,
    kNvmeByIrst = 8,
};

// core stores the "zelnvme" switch as a bare number because it cannot see
// this layer; it must stay the miniport route's code.
static_assert(static_cast<uint32_t>(ProtocolCode::kNvmeByScsiMiniport) == switchvalue::kForcedNvmeMiniport,
              "the zelnvme switch value must name the miniport NVMe route");

}  // namespace zel
