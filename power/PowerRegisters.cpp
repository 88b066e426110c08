#include "power/PowerRegisters.h"

namespace zel {
namespace powerreg {

uint32_t ccWithNormalShutdown(uint32_t cc) { return (cc & ~0x8000u) | 0x4000u; }

bool ccRequestsNormalShutdown(uint32_t cc) { return (cc & 0xC000u) == 0x4000u; }

uint32_t shutdownStatus(uint32_t csts) { return (csts >> 2) & 3u; }

uint8_t withAlarmInterruptEnabled(uint8_t statusB) { return static_cast<uint8_t>(statusB | 0x20); }

uint8_t withRtcUnmasked(uint8_t slaveMask) { return static_cast<uint8_t>(slaveMask & 0xFE); }

uint8_t withCascadeUnmasked(uint8_t masterMask) { return static_cast<uint8_t>(masterMask & 0xFB); }

uint32_t withRtcWakeEnabled(uint32_t pm1StatusEnable) { return (pm1StatusEnable & ~0x8000u) | 0x4000000u; }

uint32_t withS5Sleep(uint32_t pm1Control) { return pm1Control | 0x3C01u; }

uint8_t resetArmed(uint8_t resetControl) { return static_cast<uint8_t>((resetControl & ~0x06) | 0x0A); }

uint8_t resetFired(uint8_t resetControl) { return static_cast<uint8_t>((resetControl & ~0x06) | 0x0E); }

uint32_t powerState(uint32_t pmcsr) { return pmcsr & 3u; }

uint32_t withPowerState(uint32_t pmcsr, uint32_t state) { return (pmcsr & ~0x8003u) | (state & 3u); }

}  // namespace powerreg
}  // namespace zel
