#include "smart/LimitCheck.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstring>

#include "core/ErrorCodes.h"
#include "core/NumberText.h"
#include "core/TextFormat.h"
#include "smart/SmartSyntax.h"

namespace zel {

int64_t readingValue(const SmartBytes& bytes) {
    if (bytes.empty()) return -1;
    uint64_t value = 0;
    const size_t count = std::min<size_t>(bytes.size(), 8);
    for (size_t i = 0; i < count; ++i) value |= uint64_t{bytes[i]} << (8 * i);
    return static_cast<int64_t>(value);
}

namespace {

// Parentheses, unary minus and "^" chains recurse; a limit is at most 255
// characters, so this only stops hostile input from exhausting the stack.
constexpr int kMaxDepth = 64;

bool isBlank(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }
bool isNumberChar(char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '.' || c == '_'; }

// Bits high..low; an inverted or out-of-range field reads 0.
uint64_t bitField(uint64_t value, const NumberRange& range) {
    if (range.low < 0 || range.low > 63 || range.high < range.low) return 0;
    const int width = std::min(range.high, 63) - range.low + 1;
    const uint64_t mask = width >= 64 ? ~uint64_t{0} : (uint64_t{1} << width) - 1;
    return (value >> range.low) & mask;
}

// A present reading counts as unsigned; only an empty one is -1.
double unsignedValue(const SmartBytes& bytes) {
    return bytes.empty() ? -1.0 : static_cast<double>(static_cast<uint64_t>(readingValue(bytes)));
}

// Recursive descent over one operand: sum := product (("+"|"-") product)*,
// product := unary (("*"|"/") unary)*, unary := "-" unary | power,
// power := primary ("^" unary)?. The words take their values directly, so
// a 64-bit reading is not squeezed through the 32-bit number syntax.
class OperandParser {
public:
    OperandParser(const std::string& text, const LimitReading& reading) : text_(text), reading_(reading) {}

    std::optional<double> parse() {
        double value = 0;
        if (!sum(&value, 0)) return std::nullopt;
        skipBlanks();
        if (pos_ != text_.size()) return std::nullopt;
        return value;
    }

private:
    void skipBlanks() {
        while (pos_ < text_.size() && isBlank(text_[pos_])) ++pos_;
    }
    bool accept(char c) {
        skipBlanks();
        if (pos_ >= text_.size() || text_[pos_] != c) return false;
        ++pos_;
        return true;
    }
    bool startsWith(const char* word) const { return text_.compare(pos_, std::strlen(word), word) == 0; }

    bool sum(double* out, int depth) {
        if (!product(out, depth)) return false;
        for (;;) {
            const bool plus = accept('+');
            if (!plus && !accept('-')) return true;
            double rhs = 0;
            if (!product(&rhs, depth)) return false;
            *out = plus ? *out + rhs : *out - rhs;
        }
    }

    bool product(double* out, int depth) {
        if (!unary(out, depth)) return false;
        for (;;) {
            const bool times = accept('*');
            if (!times && !accept('/')) return true;
            double rhs = 0;
            if (!unary(&rhs, depth)) return false;
            *out = times ? *out * rhs : *out / rhs;
        }
    }

    // A "-" where an operand is expected is zero minus that operand.
    bool unary(double* out, int depth) {
        if (depth > kMaxDepth) return false;
        if (!accept('-')) return power(out, depth);
        if (!unary(out, depth + 1)) return false;
        *out = 0 - *out;
        return true;
    }

    bool power(double* out, int depth) {
        if (!primary(out, depth)) return false;
        if (!accept('^')) return true;
        double exponent = 0;
        if (!unary(&exponent, depth + 1)) return false;
        *out = std::pow(*out, exponent);
        return true;
    }

    bool primary(double* out, int depth) {
        if (accept('(')) return sum(out, depth + 1) && accept(')');
        if (pos_ >= text_.size()) return false;
        if (startsWith("diff")) {
            pos_ += 4;
            const uint64_t diff = static_cast<uint64_t>(readingValue(reading_.current)) -
                                  static_cast<uint64_t>(readingValue(reading_.reference));
            return wordValue(diff, static_cast<double>(static_cast<int64_t>(diff)), out);
        }
        if (startsWith("val")) {
            pos_ += 3;
            return wordValue(static_cast<uint64_t>(readingValue(reading_.current)), unsignedValue(reading_.current),
                             out);
        }
        if (text_[pos_] == '#') return attribute(out);
        const size_t start = pos_;
        while (pos_ < text_.size() && isNumberChar(text_[pos_])) ++pos_;
        if (pos_ == start) return false;
        *out = parseNumber(text_.substr(start, pos_ - start));
        return true;
    }

    // "diff" and "val" stand for whole, or for the bits of a "[high:low]" after them.
    bool wordValue(uint64_t bits, double whole, double* out) {
        if (pos_ >= text_.size() || text_[pos_] != '[') {
            *out = whole;
            return true;
        }
        const size_t close = text_.find(']', pos_);
        if (close == std::string::npos) return false;
        *out = static_cast<double>(bitField(bits, parseRange(text_.substr(pos_, close + 1 - pos_))));
        pos_ = close + 1;
        return true;
    }

    bool attribute(double* out) {
        ++pos_;
        const size_t start = pos_;
        uint64_t n = 0;
        while (pos_ < text_.size() && std::isdigit(static_cast<unsigned char>(text_[pos_]))) {
            n = std::min<uint64_t>(n * 10 + (text_[pos_] - '0'), UINT32_MAX);
            ++pos_;
        }
        if (pos_ == start) {
            *out = unsignedValue(reading_.current);
            return true;
        }
        const SmartBytes* bytes = reading_.attribute ? reading_.attribute(static_cast<uint32_t>(n)) : nullptr;
        *out = bytes ? unsignedValue(*bytes) : -1.0;
        return true;
    }

    const std::string& text_;
    const LimitReading& reading_;
    size_t pos_ = 0;
};

// A string attribute's operand: "val" is the checked bytes as characters, up
// to a NUL; blanks around it do not count, as device strings are padded.
std::string textOperand(const std::string& operand, const SmartBytes& current) {
    const std::string bytes(current.begin(), std::find(current.begin(), current.end(), uint8_t{0}));
    std::string text = trim(operand);
    for (size_t at = text.find("val"); at != std::string::npos; at = text.find("val", at + bytes.size())) {
        text.replace(at, 3, bytes);
    }
    return trim(text);
}

template <typename T>
bool compare(const std::string& op, const T& left, const T& right) {
    if (op == "==") return left == right;
    if (op == "!=") return left != right;
    if (op == ">=") return left >= right;
    if (op == ">") return left > right;
    if (op == "<=") return left <= right;
    return left < right;
}

bool conditionHolds(const std::string& text, bool isString, const LimitReading& reading, bool* malformed) {
    LimitCondition condition;
    if (!splitCondition(text, &condition)) {
        *malformed = true;
        return false;
    }
    if (isString) {
        if (condition.op != "==" && condition.op != "!=") {
            *malformed = true;
            return false;
        }
        return compare(condition.op, textOperand(condition.left, reading.current),
                       textOperand(condition.right, reading.current));
    }
    const std::optional<double> left = evaluateOperand(condition.left, reading);
    const std::optional<double> right = evaluateOperand(condition.right, reading);
    if (!left || !right) {
        *malformed = true;
        return false;
    }
    return compare(condition.op, *left, *right);
}

}  // namespace

LimitConditions splitLimit(const std::string& limit) {
    LimitConditions split;
    if (limit.find("&&") != std::string::npos) {
        split.connector = "&&";
    } else if (limit.find("||") != std::string::npos) {
        split.connector = "||";
    } else {
        split.conditions.push_back(limit);
        return split;
    }
    size_t start = 0;
    for (;;) {
        const size_t next = limit.find(split.connector, start);
        split.conditions.push_back(limit.substr(start, next - start));
        if (next == std::string::npos) return split;
        start = next + split.connector.size();
    }
}

bool splitCondition(const std::string& condition, LimitCondition* out) {
    for (const char* op : {"==", "!=", ">=", ">", "<=", "<"}) {
        const size_t at = condition.find(op);
        if (at == std::string::npos) continue;
        out->left = condition.substr(0, at);
        out->op = op;
        out->right = condition.substr(at + out->op.size());
        return true;
    }
    return false;
}

std::optional<double> evaluateOperand(const std::string& text, const LimitReading& reading) {
    return OperandParser(text, reading).parse();
}

int checkLimit(const std::string& limit, bool isString, const LimitReading& reading) {
    if (trim(limit).empty()) return kLimitPass;
    const LimitConditions split = splitLimit(limit);
    const bool any = split.connector == "||";
    bool result = !any;
    bool malformed = false;
    for (const std::string& condition : split.conditions) {
        const bool holds = conditionHolds(condition, isString, reading, &malformed);
        result = any ? result || holds : result && holds;
    }
    if (malformed) setLastError(err::kSmartParse);
    return result ? kLimitPass : kLimitConflict;
}

}  // namespace zel
