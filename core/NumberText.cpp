#include "core/NumberText.h"

#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdlib>

#include "core/TextFormat.h"

namespace zel {
namespace {

struct NumberForm {
    std::string digits;
    int base = 10;
    int shift = 0;
};

NumberForm classify(const std::string& lowered) {
    NumberForm form{lowered, 10, 0};
    const size_t n = lowered.size();
    const char last = lowered.back();
    if (lowered.rfind("0x", 0) == 0) {
        form.base = 16;
    } else if (last == 'h') {
        form.base = 16;
        form.digits.pop_back();
    } else if (last == 'b' && n >= 2 && std::isdigit(static_cast<unsigned char>(lowered[n - 2]))) {
        form.base = 2;
        form.digits.pop_back();
    } else if (last == 'k' || last == 'm' || last == 'g') {
        form.shift = last == 'k' ? 10 : last == 'm' ? 20 : 30;
        form.digits.pop_back();
    }
    return form;
}

// strtoll saturates on overflow; clamp further to the 32-bit range of a
// Windows long so native and Windows builds agree.
int64_t convert(const NumberForm& form) {
    errno = 0;
    return std::strtoll(form.digits.c_str(), nullptr, form.base);
}

int32_t clamp32(int64_t value) {
    if (value > INT32_MAX) return INT32_MAX;
    if (value < INT32_MIN) return INT32_MIN;
    return static_cast<int32_t>(value);
}

}  // namespace

int32_t parseNumber(const std::string& text, int32_t defaultValue) {
    if (text.empty()) return defaultValue;
    NumberForm form = classify(toLower(text));
    int64_t value = clamp32(convert(form));
    // The multiplier applies to the 32-bit value and wraps like the 32-bit
    // multiplication it stands for.
    return static_cast<int32_t>(static_cast<uint32_t>(value) << form.shift);
}

int64_t parseNumber64(const std::string& text, int64_t defaultValue) {
    if (text.empty()) return defaultValue;
    NumberForm form = classify(toLower(text));
    int64_t value = convert(form);
    return static_cast<int64_t>(static_cast<uint64_t>(value) << form.shift);
}

int32_t parseDecimal32(const std::string& text) {
    return clamp32(std::strtoll(text.c_str(), nullptr, 10));
}

}  // namespace zel
