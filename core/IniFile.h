#pragma once

#include <cstdint>
#include <string>

#include "core/Uncopyable.h"

namespace zel {

// An INI result file written through the Windows profile calls.
class IniFile : private Uncopyable {
public:
    // Resolves the full path and creates an empty file if none exists there.
    explicit IniFile(const std::string& path);

    const char* path() const { return fullPath_; }

    bool writeText(const std::string& section, const std::string& key, const std::string& value);
    bool writeNumber(const std::string& section, const std::string& key, int32_t value);
    bool hasValue(const std::string& section, const std::string& key) const;
    std::string readText(const std::string& section, const std::string& key,
                         const std::string& defaultValue = "") const;

private:
    char fullPath_[260] = {};
};

}  // namespace zel
