#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "app/ParseResult.h"
#include "disk/DiskSelector.h"

namespace zel {

// A value on the command line that its reader refuses.
struct OptionProblem {
    enum class Kind { NotANumber, NamesDevice, OutOfRange, PathTooLong, StrayWords };
    Kind kind = Kind::NotANumber;
    std::string option;
    std::string value;  // for PathTooLong the full path, for StrayWords the words, quoted
    size_t length = 0;  // PathTooLong: characters of the full path
};

// The one WARNING line a refused value gets.
std::string describe(const OptionProblem& problem);

// Logs that line and leaves 0x20000004 as the last error.
void reportOptionProblem(const OptionProblem& problem);

// Typed reads of the parsed options. A missing option gives the option
// table's default (none reads as empty, 0 or false); a given value that
// cannot be read whole gives the default too and is kept as the problem (the
// first one), which the caller reports before doing anything.
class OptionReader {
public:
    explicit OptionReader(const ParseResult& args) : args_(args) {}

    bool given(const char* name) const { return args_.has(name); }
    bool flag(const char* name) const { return args_.has(name); }
    std::string text(const char* name) const;
    // For an action that applies no default where others do.
    std::string textIfGiven(const char* name) const { return args_.text(name); }
    // Comma-separated texts; empty items are dropped.
    std::vector<std::string> list(const char* name) const;
    // Decimal, signed 32-bit: the entry's integer lookup, made strict.
    int32_t decimal(const char* name);
    // The tool's number syntax, up to the given maximum.
    uint64_t number(const char* name, uint64_t maximum = UINT64_MAX);
    std::vector<uint32_t> numberList(const char* name, uint32_t maximum = UINT32_MAX);
    // Seconds or other non-negative amounts.
    double amount(const char* name);

    DiskSelector diskSelector();

    // Records the option's value as refused, for readers of special forms.
    void refuse(const char* name);
    const std::optional<OptionProblem>& problem() const { return problem_; }

private:
    bool readNumberText(const char* name, const std::string& text, uint64_t maximum, uint64_t* value);

    const ParseResult& args_;
    std::optional<OptionProblem> problem_;
};

}  // namespace zel
