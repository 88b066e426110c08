#include "core/TextFormat.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <vector>

namespace zel {

std::string formatTextV(const char* format, va_list args) {
    va_list copy;
    va_copy(copy, args);
    int needed = std::vsnprintf(nullptr, 0, format, copy);
    va_end(copy);
    if (needed <= 0) return {};
    std::vector<char> buffer(static_cast<size_t>(needed) + 1);
    std::vsnprintf(buffer.data(), buffer.size(), format, args);
    return std::string(buffer.data(), static_cast<size_t>(needed));
}

std::string formatText(const char* format, ...) {
    va_list args;
    va_start(args, format);
    std::string text = formatTextV(format, args);
    va_end(args);
    return text;
}

std::string trim(const std::string& text) {
    auto isSpace = [](unsigned char c) { return std::isspace(c) != 0; };
    auto first = std::find_if_not(text.begin(), text.end(), isSpace);
    auto last = std::find_if_not(text.rbegin(), text.rend(), isSpace).base();
    return first < last ? std::string(first, last) : std::string();
}

std::string toUpper(std::string text) {
    for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return text;
}

std::string toLower(std::string text) {
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

std::string sizeText(uint64_t bytes) {
    const double n = static_cast<double>(bytes);
    if (bytes >= (1ULL << 40)) return formatText("%.2fTB", n / static_cast<double>(1ULL << 40));
    if (bytes >= (1ULL << 30)) return formatText("%.2fGB", n / static_cast<double>(1ULL << 30));
    if (bytes >= (1ULL << 20)) return formatText("%.2fMB", n / static_cast<double>(1ULL << 20));
    if (bytes >= 1024) return formatText("%.2fKB", n / 1024.0);
    return formatText("%lldB", static_cast<long long>(bytes));
}

}  // namespace zel
