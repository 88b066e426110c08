#include <cstddef>
#include <cstdint>
#include <string>

#include "power/BoardCommands.h"

// A condition that parses has a target that fits the voltage command and
// satisfies it.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    zel::VoltageCondition condition;
    if (!zel::parseVoltageCondition(std::string(reinterpret_cast<const char*>(data), size), &condition)) return 0;
    const uint32_t target = zel::targetMillivolts(condition);
    if (target == 0 || target > 0xFFFF || !zel::conditionHolds(condition, target)) __builtin_trap();
    return 0;
}
