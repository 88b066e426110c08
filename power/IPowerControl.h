#pragma once

#include <cstdint>

namespace zel {

// Anything that can switch the power of a disk under test. Failures return
// false with the last error set.
class IPowerControl {
public:
    virtual ~IPowerControl() = default;
    virtual bool powerOn() = 0;
    virtual bool powerOff() = 0;
    // Millivolts, milliamperes and milliwatts; false where not supported.
    virtual bool measure(double* voltage, double* current, double* power) = 0;
    // Sets the supply voltage; false where not supported.
    virtual bool setVoltage(uint32_t millivolts) = 0;
};

}  // namespace zel
