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
    return 0;
}
