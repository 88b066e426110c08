#pragma once

#include <string>

namespace zel {

// One argument of a child's command line, in double quotes, written so that
// the Windows rules (CommandLineToArgvW, the C runtime) read back exactly
// the value as one argument: a quote inside is escaped, and backslashes
// before a quote or before the closing quote are doubled.
std::string quotedArgument(const std::string& value);

// The value as it is when it needs no quotes (no blank, tab, line break or
// quote, not empty), quoted as above otherwise.
std::string argumentText(const std::string& value);

// A value that a tool would take for one of its switches ("-r", "/force").
bool looksLikeSwitch(const std::string& value);

}  // namespace zel
