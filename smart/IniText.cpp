#include "smart/IniText.h"

#include <sstream>

#include "core/TextFormat.h"

namespace zel {

IniText::IniText(const std::string& text) {
    std::istringstream lines(text);
    std::string line;
    std::string section;
    bool inSection = false;
    while (std::getline(lines, line)) {
        line = trim(line);
        if (line.empty() || line[0] == ';') continue;
        if (line[0] == '[') {
            section = toLower(trim(line.substr(1, line.find(']') - 1)));
            inSection = true;
            continue;
        }
        const size_t equals = line.find('=');
        if (!inSection || equals == std::string::npos) continue;
        values_.emplace(std::make_pair(section, toLower(trim(line.substr(0, equals)))), trim(line.substr(equals + 1)));
    }
}

std::optional<std::string> IniText::value(const std::string& section, const std::string& key) const {
    const auto found = values_.find({toLower(section), toLower(key)});
    if (found == values_.end()) return std::nullopt;
    return found->second;
}

IniLookup IniText::lookup() const {
    return [this](const std::string& section, const std::string& key) { return value(section, key); };
}

}  // namespace zel
