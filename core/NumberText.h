#pragma once

#include <cstdint>
#include <string>

namespace zel {

// The tool's number syntax for options and configuration values, after
// lower-casing: "0x" prefix or "h" suffix hexadecimal, a "b" after a digit
// binary, "k"/"m"/"g" suffix decimal times 2^10/2^20/2^30, else decimal.
// Conversion follows strtol: leading garbage gives 0, it stops at the first
// character outside the base. Empty text gives the default.
int32_t parseNumber(const std::string& text, int32_t defaultValue = 0);

// The same syntax without the 32-bit limit, for LBAs, counts and sizes.
int64_t parseNumber64(const std::string& text, int64_t defaultValue = 0);

// Decimal signed 32-bit conversion as the command line's integer lookup does it.
int32_t parseDecimal32(const std::string& text);

// Strict readers for values typed on the command line: true only when the
// whole text is one number that fits, so "3abc", "" or "abc" never pass as
// some other number.
// The tool's number syntax above, unsigned, at most 64 bits.
bool readNumber(const std::string& text, uint64_t* value);
// An optional sign and decimal digits, within the signed 32-bit range.
bool readDecimal32(const std::string& text, int32_t* value);
// A finite, non-negative decimal amount such as seconds ("1.5").
bool readAmount(const std::string& text, double* value);

}  // namespace zel
