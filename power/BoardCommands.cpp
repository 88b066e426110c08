#include "power/BoardCommands.h"

#include <cmath>
#include <cstring>

#include "core/TextFormat.h"

namespace zel {
namespace {

constexpr double kShuntStepMillivolts = 0.0025;
constexpr double kBusStepMillivolts = 1.25;
constexpr double kShuntOhms = 0.02;
constexpr uint32_t kStrictStepMillivolts = 50;
constexpr uint32_t kEqualToleranceMillivolts = 25;
// Inside a non-strict bound by more than the measurement's rounding.
constexpr uint32_t kInsideMarginMillivolts = 5;
constexpr uint32_t kMaxMillivolts = 65535;  // two bytes of the voltage command

}  // namespace

std::array<uint8_t, kMarkerSectorSize> markerSector(bool on) {
    std::array<uint8_t, kMarkerSectorSize> sector{};
    std::memcpy(sector.data(), "HXPWR410", 8);
    sector[8] = 'O';
    sector[9] = on ? 'N' : 'F';
    return sector;
}

PowerMeasurement measurementFromBytes(const uint8_t* b) {
    PowerMeasurement m;
    const double shunt = (b[4] * 256 + b[5]) * kShuntStepMillivolts;
    m.millivolts = (b[6] * 256 + b[7]) * kBusStepMillivolts + shunt;
    m.milliamps = shunt / kShuntOhms;
    m.milliwatts = m.milliamps * m.millivolts / 1000;
    return m;
}

std::string measurementLine(const PowerMeasurement& m) {
    return formatText("Voltage:%6.2fmV, Current:%6.2fmA, Power:%6.2fmW", m.millivolts, m.milliamps, m.milliwatts);
}

bool parseVoltageCondition(const std::string& text, VoltageCondition* condition) {
    using Compare = VoltageCondition::Compare;
    static const struct {
        const char* text;
        Compare compare;
    } operators[] = {{"<=", Compare::LessOrEqual}, {">=", Compare::GreaterOrEqual}, {"==", Compare::Equal},
                     {"<", Compare::Less},         {">", Compare::Greater},         {"=", Compare::Equal}};
    size_t at = 0;
    condition->compare = Compare::Equal;
    for (const auto& op : operators) {
        if (text.compare(0, std::strlen(op.text), op.text) == 0) {
            condition->compare = op.compare;
            at = std::strlen(op.text);
            break;
        }
    }
    // Digits, at most one point, digits: no sign, exponent or unit.
    const std::string number = text.substr(at);
    size_t digits = 0, points = 0;
    for (char c : number) {
        if (c >= '0' && c <= '9')
            ++digits;
        else if (c == '.')
            ++points;
        else
            return false;
    }
    if (digits == 0 || points > 1) return false;
    const double millivolts = std::round(std::strtod(number.c_str(), nullptr) * 1000);
    if (millivolts <= kStrictStepMillivolts || millivolts + kStrictStepMillivolts > kMaxMillivolts) return false;
    condition->millivolts = static_cast<uint32_t>(millivolts);
    return true;
}

uint32_t targetMillivolts(const VoltageCondition& condition) {
    switch (condition.compare) {
        case VoltageCondition::Compare::Less: return condition.millivolts - kStrictStepMillivolts;
        case VoltageCondition::Compare::Greater: return condition.millivolts + kStrictStepMillivolts;
        case VoltageCondition::Compare::LessOrEqual: return condition.millivolts - kInsideMarginMillivolts;
        case VoltageCondition::Compare::GreaterOrEqual: return condition.millivolts + kInsideMarginMillivolts;
        default: return condition.millivolts;
    }
}

bool conditionHolds(const VoltageCondition& condition, double measured) {
    const double bound = condition.millivolts;
    switch (condition.compare) {
        case VoltageCondition::Compare::Less: return measured < bound;
        case VoltageCondition::Compare::LessOrEqual: return measured <= bound;
        case VoltageCondition::Compare::Greater: return measured > bound;
        case VoltageCondition::Compare::GreaterOrEqual: return measured >= bound;
        case VoltageCondition::Compare::Equal: return std::fabs(measured - bound) <= kEqualToleranceMillivolts;
    }
    return false;
}

}  // namespace zel
