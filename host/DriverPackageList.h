#pragma once

#include <string>
#include <vector>

namespace zel {

// devcon dp_enum output split at "\r\n": for each line after the first
// that contains the keyword, the line before it (a package's published
// name when the keyword names its provider), empty ones left out.
std::vector<std::string> packagesMatching(const std::string& dpEnumOutput, const std::string& keyword);

}  // namespace zel
