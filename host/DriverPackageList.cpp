#include "host/DriverPackageList.h"

namespace zel {
namespace {

std::vector<std::string> splitLines(const std::string& text) {
    std::vector<std::string> lines;
    size_t start = 0;
    for (size_t end; (end = text.find("\r\n", start)) != std::string::npos; start = end + 2)
        lines.push_back(text.substr(start, end - start));
    lines.push_back(text.substr(start));
    return lines;
}

}  // namespace

std::vector<std::string> packagesMatching(const std::string& dpEnumOutput, const std::string& keyword) {
    const std::vector<std::string> lines = splitLines(dpEnumOutput);
    std::vector<std::string> names;
    for (size_t i = 1; i < lines.size(); ++i)
        if (lines[i].find(keyword) != std::string::npos && !lines[i - 1].empty()) names.push_back(lines[i - 1]);
    return names;
}

}  // namespace zel
