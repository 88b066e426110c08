#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace zel {

using SmartBytes = std::vector<uint8_t>;

// The number an attribute's checked bytes stand for: up to the first 8,
// little-endian; -1 for an empty reading (no attribute, no reference).
int64_t readingValue(const SmartBytes& bytes);

// "#N" in a limit: the checked bytes of attribute N in the current reading,
// or null when the reading has no such attribute.
using AttributeLookup = std::function<const SmartBytes*(uint32_t n)>;

// What the words of a limit stand for.
struct LimitReading {
    const SmartBytes& current;
    const SmartBytes& reference;  // empty when no previous reading was given
    AttributeLookup attribute;    // may be empty: every "#N" reads -1
};

enum LimitAnswer : int { kLimitPass = 1, kLimitConflict = 2 };

// Checks an attribute's limit. An empty limit passes. A condition that
// cannot be read (no operator, a malformed operand) does not hold and leaves
// kSmartParse as the last error.
int checkLimit(const std::string& limit, bool isString, const LimitReading& reading);

// The pieces of the limit language, shared with the special limits that
// rewrite a limit.
struct LimitConditions {
    std::string connector;  // "&&", "||" or empty for a single condition
    std::vector<std::string> conditions;
};
LimitConditions splitLimit(const std::string& limit);

struct LimitCondition {
    std::string left;
    std::string op;
    std::string right;
};
// Splits at the first operator found searching "==", "!=", ">=", ">", "<=",
// "<" in that order; false when the condition has none.
bool splitCondition(const std::string& condition, LimitCondition* out);

// An operand of a numeric attribute as a number; nothing when malformed.
std::optional<double> evaluateOperand(const std::string& text, const LimitReading& reading);

}  // namespace zel
