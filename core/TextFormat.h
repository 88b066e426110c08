#pragma once

#include <cstdarg>
#include <cstdint>
#include <string>

#if defined(_WIN32)
#define ZEL_PRINTF_FORMAT(f, a) __attribute__((format(gnu_printf, f, a)))
#else
#define ZEL_PRINTF_FORMAT(f, a) __attribute__((format(printf, f, a)))
#endif

namespace zel {

// printf into a std::string; the tool's messages are all printf formats.
std::string formatText(const char* format, ...) ZEL_PRINTF_FORMAT(1, 2);
std::string formatTextV(const char* format, va_list args);

std::string trim(const std::string& text);
std::string toUpper(std::string text);
std::string toLower(std::string text);

// Byte counts in powers of 1024: "%.2fTB", "%.2fGB", "%.2fMB", "%.2fKB", "%lldB".
std::string sizeText(uint64_t bytes);

}  // namespace zel
