#include "vhost/JsonReader.h"

#include <cctype>

namespace zel {
namespace vhost {
namespace {

const char* const kNotANumber = "expected a non-negative number";

int digitValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return 99;
}

// Splits off the base prefix or suffix and the k/m/g multiplier.
std::string numberDigits(std::string text, unsigned* base, unsigned* shift) {
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    *base = 10;
    *shift = 0;
    if (text.rfind("0x", 0) == 0) {
        *base = 16;
        return text.substr(2);
    }
    if (text.empty()) return text;
    const char last = text.back();
    if (last == 'h') *base = 16;
    if (last == 'b' && text.size() >= 2 && std::isdigit(static_cast<unsigned char>(text[text.size() - 2]))) *base = 2;
    if (last == 'k' || last == 'm' || last == 'g') *shift = last == 'k' ? 10 : last == 'm' ? 20 : 30;
    if (*base != 10 || *shift != 0) text.pop_back();
    return text;
}

}  // namespace

bool parseUnsignedText(const std::string& text, uint64_t* value, std::string* problem) {
    unsigned base = 10, shift = 0;
    const std::string digits = numberDigits(text, &base, &shift);
    if (digits.empty()) {
        *problem = kNotANumber;
        return false;
    }
    const uint64_t max = std::numeric_limits<uint64_t>::max();
    uint64_t result = 0;
    for (char c : digits) {
        const unsigned digit = static_cast<unsigned>(digitValue(c));
        if (digit >= base) {
            *problem = kNotANumber;
            return false;
        }
        if (result > (max - digit) / base) {
            *problem = "\"" + text + "\" does not fit in 64 bits";
            return false;
        }
        result = result * base + digit;
    }
    if (result > (max >> shift)) {
        *problem = "\"" + text + "\" does not fit in 64 bits";
        return false;
    }
    *value = result << shift;
    return true;
}

bool JsonReader::number(const json& value, const std::string& where, uint64_t max, uint64_t* out) {
    uint64_t read = 0;
    std::string problem = kNotANumber;
    bool ok = false;
    if (value.is_number_unsigned() || (value.is_number_integer() && value.get<int64_t>() >= 0)) {
        read = value.get<uint64_t>();
        ok = true;
    } else if (value.is_number_float()) {
        problem = "expected a whole number below 2^64";
    } else if (value.is_string()) {
        ok = parseUnsignedText(value.get<std::string>(), &read, &problem);
    }
    if (ok && read > max) {
        problem = std::to_string(read) + " is outside 0.." + std::to_string(max);
        ok = false;
    }
    if (!ok) {
        fail(where, problem);
        return false;
    }
    *out = read;
    return true;
}

uint64_t JsonReader::number(const json& object, const std::string& key, uint64_t fallback, const std::string& where,
                            uint64_t max) {
    auto it = object.find(key);
    uint64_t value = fallback;
    if (it != object.end()) number(*it, where + "." + key, max, &value);
    return value;
}

std::string JsonReader::text(const json& object, const std::string& key, const std::string& fallback,
                             const std::string& where) {
    auto it = object.find(key);
    if (it == object.end()) return fallback;
    if (it->is_string()) return it->get<std::string>();
    fail(where + "." + key, "expected text");
    return fallback;
}

bool JsonReader::flag(const json& object, const std::string& key, bool fallback, const std::string& where) {
    auto it = object.find(key);
    if (it == object.end()) return fallback;
    if (it->is_boolean()) return it->get<bool>();
    fail(where + "." + key, "expected true or false");
    return fallback;
}

std::vector<uint8_t> JsonReader::bytes(const json& value, const std::string& where) {
    std::vector<uint8_t> out;
    if (!value.is_string()) {
        fail(where, "expected hex bytes as text");
        return out;
    }
    std::string digits;
    for (char c : value.get<std::string>())
        if (!std::isspace(static_cast<unsigned char>(c)))
            digits += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (digits.size() % 2 != 0) {
        fail(where, "odd number of hex digits");
        return out;
    }
    for (size_t i = 0; i < digits.size(); i += 2) {
        const int high = digitValue(digits[i]), low = digitValue(digits[i + 1]);
        if (high > 15 || low > 15) {
            fail(where, "not a hex digit");
            return {};
        }
        out.push_back(static_cast<uint8_t>(high << 4 | low));
    }
    return out;
}

const JsonReader::json* JsonReader::array(const json& parent, const std::string& key, const std::string& where) {
    auto it = parent.find(key);
    if (it == parent.end()) return nullptr;
    if (it->is_array()) return &*it;
    fail(where + "." + key, "expected a list");
    return nullptr;
}

const JsonReader::json* JsonReader::object(const json& parent, const std::string& key, const std::string& where) {
    auto it = parent.find(key);
    if (it == parent.end()) return nullptr;
    return asObject(*it, where + "." + key);
}

const JsonReader::json* JsonReader::asObject(const json& value, const std::string& where) {
    if (value.is_object()) return &value;
    fail(where, "expected an object");
    return nullptr;
}

}  // namespace vhost
}  // namespace zel
