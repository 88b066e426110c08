#pragma once

// Which raw commands can change a drive's media (or settings it keeps), so
// that none of them reaches the OS drive. One table per command set;
// docs/cmd.md shows them. Windows-free.

#include <cstdint>
#include <string>

#include "io/CmdTranslate.h"

namespace zel {

struct MediaEffect {
    bool changes = false;
    std::string what;  // "ATA 35h WRITE DMA EXT: writes sectors"; empty when nothing is known
};

// The three classifiers the plan's record is judged by; `dataOut` is whether
// the command carries data to the device.
MediaEffect ataMediaEffect(uint8_t command, uint16_t feature, bool dataOut);
MediaEffect scsiMediaEffect(const uint8_t* cdb, uint8_t cdbLength, bool dataOut, bool nvmeTunnel);
MediaEffect nvmeMediaEffect(uint8_t opcode, bool admin, bool dataOut);

// What the plan would do to the media when run; trims through Windows
// included. `nvmeTunnel`: CDB A1h is the JMicron bridge's NVMe tunnel.
MediaEffect planMediaEffect(const CmdPlan& plan, bool nvmeTunnel);

}  // namespace zel
