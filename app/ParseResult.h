#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace zel {

// The parsed command line as (long name, text value) pairs. Every value is
// text; each reader applies its own default.
class ParseResult {
public:
    ParseResult() = default;
    explicit ParseResult(std::vector<std::pair<std::string, std::string>> values,
                         std::vector<std::string> strayWords = {})
        : values_(std::move(values)), strayWords_(std::move(strayWords)) {}

    bool has(const std::string& name) const;
    std::string text(const std::string& name, const std::string& defaultValue = "") const;
    int32_t integer(const std::string& name, int32_t defaultValue) const;

    const std::vector<std::pair<std::string, std::string>>& values() const { return values_; }
    // Words that no option took (`--rw write 1g 64`: "1g" and "64").
    const std::vector<std::string>& strayWords() const { return strayWords_; }

private:
    const std::string* find(const std::string& name) const;

    std::vector<std::pair<std::string, std::string>> values_;
    std::vector<std::string> strayWords_;
};

}  // namespace zel
