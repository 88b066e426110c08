#include "core/NumberText.h"

#include <cctype>
#include <cerrno>
#include <climits>
#include <cmath>
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

int digitValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return 99;
}

// All of digits in the base, without overflow.
bool readDigits(const std::string& digits, int base, uint64_t* value) {
    if (digits.empty()) return false;
    uint64_t result = 0;
    for (char c : digits) {
        const int digit = digitValue(c);
        if (digit >= base || result > (UINT64_MAX - digit) / base) return false;
        result = result * base + digit;
    }
    *value = result;
    return true;
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

bool readNumber(const std::string& text, uint64_t* value) {
    if (text.empty()) return false;
    NumberForm form = classify(toLower(text));
    if (form.base == 16 && form.digits.rfind("0x", 0) == 0) form.digits.erase(0, 2);
    uint64_t result = 0;
    if (!readDigits(form.digits, form.base, &result)) return false;
    if (form.shift && result > (UINT64_MAX >> form.shift)) return false;
    *value = result << form.shift;
    return true;
}

bool readDecimal32(const std::string& text, int32_t* value) {
    const bool negative = !text.empty() && text[0] == '-';
    const size_t signLength = !text.empty() && (text[0] == '-' || text[0] == '+') ? 1 : 0;
    uint64_t magnitude = 0;
    if (!readDigits(text.substr(signLength), 10, &magnitude)) return false;
    if (magnitude > (negative ? 2147483648ULL : 2147483647ULL)) return false;
    *value = static_cast<int32_t>(negative ? -static_cast<int64_t>(magnitude) : static_cast<int64_t>(magnitude));
    return true;
}

bool readAmount(const std::string& text, double* value) {
    if (text.empty() || !(std::isdigit(static_cast<unsigned char>(text[0])) || text[0] == '.')) return false;
    char* end = nullptr;
    const double result = std::strtod(text.c_str(), &end);
    if (*end != '\0' || !std::isfinite(result)) return false;
    *value = result;
    return true;
}

}  // namespace zel
