#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace zel {

// The vendor commands of the power-switch boards, built in one place. Each
// is a 16-byte CDB sent with data-in direction and the data size given here.
struct BoardCdb {
    std::array<uint8_t, 16> bytes{};
    uint32_t dataSize = 0;
};

namespace boardcdb {

// SATA board, first generation: F0 F1, byte 2 FF on / 00 off.
constexpr BoardCdb sataV1Power(bool on) { return {{0xF0, 0xF1, static_cast<uint8_t>(on ? 0xFF : 0x00)}, 0}; }

// SATA board, second generation: F1 41, bytes 2..3 00 00 on / FF FF off.
// The fill is the opposite of the first generation's, as the boards want it.
constexpr BoardCdb sataV2Power(bool on) {
    const uint8_t fill = on ? 0x00 : 0xFF;
    return {{0xF1, 0x41, fill, fill}, 0};
}

// PCIe board, second generation: C0 52, byte 2 1 on / 2 off, byte 11 08;
// 16 bytes in, not examined.
constexpr BoardCdb pcieV2Power(bool on) {
    return {{0xC0, 0x52, static_cast<uint8_t>(on ? 1 : 2), 0, 0, 0, 0, 0, 0, 0, 0, 0x08}, 16};
}

// PCIe board, second generation: C0 41 01, byte 11 80; 512 bytes in.
constexpr BoardCdb pcieV2Measure() { return {{0xC0, 0x41, 0x01, 0, 0, 0, 0, 0, 0, 0, 0, 0x80}, 512}; }

// PCIe board, second generation: C0 56 01, the output in millivolts in
// bytes 4..5 (big-endian), byte 11 08; 16 bytes in, not examined.
constexpr BoardCdb pcieV2Voltage(uint16_t millivolts) {
    return {{0xC0, 0x56, 0x01, 0, static_cast<uint8_t>(millivolts >> 8), static_cast<uint8_t>(millivolts), 0, 0, 0,
             0, 0, 0x08},
            16};
}

// JMicron USB bridge used as a switch: DF 47, byte 2 the GPIO pin (0),
// byte 3 its level, 1 powering the rail and 0 cutting it; no data.
constexpr BoardCdb jmicronGpioPower(bool on) { return {{0xDF, 0x47, 0x00, static_cast<uint8_t>(on ? 1 : 0)}, 0}; }

}  // namespace boardcdb

// The first-generation PCIe board listens to one sector written at LBA 7 of
// 512-byte sectors, whatever sector size the board reports.
constexpr uint32_t kMarkerSectorOffset = 3584;
constexpr uint32_t kMarkerSectorSize = 512;
static_assert(kMarkerSectorOffset == 7 * kMarkerSectorSize, "the marker is LBA 7 of 512-byte sectors");

// "HXPWR410" in bytes 0..7, then "ON" or "OF"; zeros after.
std::array<uint8_t, kMarkerSectorSize> markerSector(bool on);

// The PCIe board's measurement, from bytes 4..7 of its answer: a shunt of
// 0.02 ohm read in 2.5 uV steps, the bus voltage in 1.25 mV steps.
struct PowerMeasurement {
    double millivolts = 0;
    double milliamps = 0;
    double milliwatts = 0;
};
PowerMeasurement measurementFromBytes(const uint8_t* answer);
// "Voltage:%6.2fmV, Current:%6.2fmA, Power:%6.2fmW"
std::string measurementLine(const PowerMeasurement& measurement);

// The --vol condition: an optional comparison ("<", "<=", ">", ">=", "=",
// "==") and a voltage in volts, "<3.6". The board is set to an output that
// satisfies it: 50 mV beyond the bound for a strict comparison, 5 mV inside
// it for a non-strict one, the value itself for "="; the measured voltage
// must then satisfy it ("=" within 25 mV).
struct VoltageCondition {
    enum class Compare { Less, LessOrEqual, Greater, GreaterOrEqual, Equal } compare = Compare::Equal;
    uint32_t millivolts = 0;
};
bool parseVoltageCondition(const std::string& text, VoltageCondition* condition);
uint32_t targetMillivolts(const VoltageCondition& condition);
bool conditionHolds(const VoltageCondition& condition, double measuredMillivolts);

}  // namespace zel
