#pragma once

#include <map>
#include <optional>
#include <string>
#include <utility>

#include "smart/SmartConfig.h"

namespace zel {

// INI text read the way the private-profile calls read a file: "[section]"
// headers, "key=value" lines, ";" comments, names without regard to case,
// blanks around names and values dropped, the first of duplicate keys wins.
// Lets the configuration model run without Windows.
class IniText {
public:
    explicit IniText(const std::string& text);

    std::optional<std::string> value(const std::string& section, const std::string& key) const;
    // A lookup bound to this object, which must outlive it.
    IniLookup lookup() const;

private:
    std::map<std::pair<std::string, std::string>, std::string> values_;
};

}  // namespace zel
