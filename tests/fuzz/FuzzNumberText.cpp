#include <cstddef>
#include <cstdint>
#include <string>

#include "core/NumberText.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string text(reinterpret_cast<const char*>(data), size);
    text = text.substr(0, text.find('\0'));
    (void)zel::parseNumber(text, -1);
    (void)zel::parseNumber64(text, -1);
    (void)zel::parseDecimal32(text);
    // A strict reading, where it succeeds, must agree with the lenient one.
    uint64_t strict = 0;
    if (zel::readNumber(text, &strict) && strict <= INT32_MAX && zel::parseNumber(text, -1) != static_cast<int32_t>(strict))
        __builtin_trap();
    int32_t decimal = 0;
    if (zel::readDecimal32(text, &decimal) && decimal != zel::parseDecimal32(text)) __builtin_trap();
    double amount = 0;
    (void)zel::readAmount(text, &amount);
    return 0;
}
