#include "vhost/JsonReader.h"

#include <cctype>

#include "core/NumberText.h"

namespace zel {
namespace vhost {
namespace {

const char* const kNotANumber = "expected a non-negative number";

int digitValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return 99;
}

}  // namespace

bool parseUnsignedText(const std::string& text, uint64_t* value, std::string* problem) {
    if (readNumber(text, value)) return true;
    *problem = "\"" + text + "\" is not a number of at most 64 bits";
    return false;
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
