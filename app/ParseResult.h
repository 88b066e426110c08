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
    explicit ParseResult(std::vector<std::pair<std::string, std::string>> values) : values_(std::move(values)) {}

    bool has(const std::string& name) const;
    std::string text(const std::string& name, const std::string& defaultValue = "") const;
    int32_t integer(const std::string& name, int32_t defaultValue) const;

    const std::vector<std::pair<std::string, std::string>>& values() const { return values_; }

private:
    const std::string* find(const std::string& name) const;

    std::vector<std::pair<std::string, std::string>> values_;
};

}  // namespace zel
