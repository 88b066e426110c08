#pragma once

#include <cstdint>

// Register arithmetic of the system power transitions: what the tool writes
// to the NVMe controller, the RTC, the interrupt controllers, the ACPI PM1
// block, the reset control register and the PCI power-management capability.
namespace zel {
namespace powerreg {

// NVMe controller registers, offsets from BAR0.
constexpr uint32_t kCc = 0x14;
constexpr uint32_t kCsts = 0x1C;
constexpr uint32_t kShstComplete = 2;

// CC.SHN (bits 15..14) = 01b, normal shutdown; the other bits kept.
uint32_t ccWithNormalShutdown(uint32_t cc);
bool ccRequestsNormalShutdown(uint32_t cc);
// CSTS.SHST, bits 3..2.
uint32_t shutdownStatus(uint32_t csts);

// RTC: alarm seconds, minutes, hours; status registers B and C.
constexpr uint8_t kRtcAlarmSeconds = 0x01;
constexpr uint8_t kRtcAlarmMinutes = 0x03;
constexpr uint8_t kRtcAlarmHours = 0x05;
constexpr uint8_t kRtcStatusB = 0x0B;
constexpr uint8_t kRtcStatusC = 0x0C;
uint8_t withAlarmInterruptEnabled(uint8_t statusB);  // AIE, bit 5

// 8259 interrupt masks: IRQ 8 (RTC) on the slave, the cascade (IRQ 2) on the master.
constexpr uint16_t kSlaveMaskPort = 0xA1;
constexpr uint16_t kMasterMaskPort = 0x21;
uint8_t withRtcUnmasked(uint8_t slaveMask);
uint8_t withCascadeUnmasked(uint8_t masterMask);

// ACPI PM1 registers, fixed on the platforms the tool serves.
constexpr uint16_t kPm1StatusEnablePort = 0x1800;  // PM1_STS low half, PM1_EN high half
constexpr uint16_t kPm1ControlPort = 0x1804;
// Bit 15 cleared and RTC_EN (bit 26) set.
uint32_t withRtcWakeEnabled(uint32_t pm1StatusEnable);
// SLP_TYP 7 (S5), SLP_EN and bit 0.
uint32_t withS5Sleep(uint32_t pm1Control);

// Reset control register: SYS_RST (bit 1), RST_CPU (bit 2), FULL_RST (bit 3).
constexpr uint16_t kResetControlPort = 0xCF9;
// Full system reset armed, RST_CPU low: the next write's rising edge resets.
uint8_t resetArmed(uint8_t resetControl);
// RST_CPU raised: the platform power-cycles (cold reset).
uint8_t resetFired(uint8_t resetControl);

// PCI power management: PMCSR in the dword at capability + 4.
constexpr uint32_t kPmcsr = 0x04;
constexpr uint32_t kD0 = 0;
constexpr uint32_t kD3Hot = 3;
uint32_t powerState(uint32_t pmcsr);
// PowerState (bits 1..0) set; PME_Status (bit 15, write 1 to clear) left alone.
uint32_t withPowerState(uint32_t pmcsr, uint32_t state);

}  // namespace powerreg
}  // namespace zel
