#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace zel {

// HKEY_LOCAL_MACHINE values kept as REG_SZ decimal text. Keys are opened in
// the 64-bit registry view first, then in the 32-bit view.
class WinReg {
public:
    static std::optional<std::string> readText(const std::string& key, const std::string& name);
    static std::string readText(const std::string& key, const std::string& name, const std::string& fallback);
    static int64_t readNumber(const std::string& key, const std::string& name, int64_t fallback);
    static std::optional<uint32_t> readDword(const std::string& key, const std::string& name);

    static bool writeText(const std::string& key, const std::string& name, const std::string& value);
    static bool writeNumber(const std::string& key, const std::string& name, int64_t value);
    static bool deleteValue(const std::string& key, const std::string& name);
};

}  // namespace zel
