#include "host/CommandLineQuoting.h"

namespace zel {

std::string quotedArgument(const std::string& value) {
    std::string out = "\"";
    size_t backslashes = 0;
    for (char c : value) {
        if (c == '\\') {
            ++backslashes;
            continue;
        }
        // Backslashes count as escapes only in front of a quote.
        out.append(c == '"' ? backslashes * 2 + 1 : backslashes, '\\');
        backslashes = 0;
        out += c;
    }
    out.append(backslashes * 2, '\\');
    return out + "\"";
}

std::string argumentText(const std::string& value) {
    if (!value.empty() && value.find_first_of(" \t\r\n\v\"") == std::string::npos) return value;
    return quotedArgument(value);
}

bool looksLikeSwitch(const std::string& value) { return !value.empty() && (value[0] == '-' || value[0] == '/'); }

}  // namespace zel
