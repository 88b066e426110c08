#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zel {

// "[high:low]", "high:low" or "a" (high = low = a), each number in the
// tool's lenient number syntax (core/NumberText.h).
struct NumberRange {
    int32_t high = 0;
    int32_t low = 0;
};
NumberRange parseRange(const std::string& text);

// Codes of the "$" variables of a type field.
enum SpecialCode : uint8_t {
    kSpecialNone = 0,
    kSpecialGsd = 1,           // "$gsd"
    kSpecialUgsd = 2,          // "$ugsd"
    kSpecialPowerCycle = 3,    // "$pwrcycle"
    kSpecialPowerOnHours = 4,  // "$pwronhr"
    kSpecialByTime = 5,        // "$bytime"
    kSpecialTempC = 6,         // "$tempc"
};

struct TypeField {
    bool isString = false;
    std::vector<uint8_t> codes;  // never empty
};

// attr_type_N: the text before the first "," is the type ("string" or
// anything else for a number); the tokens after it are special variables.
// Without a "," the whole value is read as the token list too, so "$pwrcycle"
// alone is a number with code 3 and "string" alone adds code 0.
TypeField parseTypeField(const std::string& text);

// Slice of a SATA attribute's raw bytes: first inclusive, end exclusive.
struct SataSelector {
    uint8_t id = 0;
    uint8_t first = 0;
    uint8_t end = 6;
};

// "id" (default slice 0..6, 0..7 with the reserved byte) or "id[high:low]".
SataSelector parseSataSelector(const std::string& text, bool includeReservedByte);

// Byte range within an NVMe log page's data: low inclusive, end exclusive.
struct NvmeSelector {
    uint16_t low = 0;
    uint16_t end = 1;
};

// "high:low" (brackets optional) or a single byte offset.
NvmeSelector parseNvmeSelector(const std::string& text);

}  // namespace zel
