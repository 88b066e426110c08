#include "core/IniFile.h"

#include <windows.h>

#include "core/TextFormat.h"

namespace zel {

IniFile::IniFile(const std::string& path) {
    if (path.empty()) return;
    DWORD n = GetFullPathNameA(path.c_str(), sizeof(fullPath_), fullPath_, nullptr);
    if (n == 0 || n >= sizeof(fullPath_)) {
        fullPath_[0] = '\0';
        return;
    }
    if (GetFileAttributesA(fullPath_) != INVALID_FILE_ATTRIBUTES) return;
    HANDLE file = CreateFileA(fullPath_, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                              nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file != INVALID_HANDLE_VALUE) CloseHandle(file);
}

bool IniFile::writeText(const std::string& section, const std::string& key, const std::string& value) {
    if (fullPath_[0] == '\0') return false;
    return WritePrivateProfileStringA(section.c_str(), key.c_str(), value.c_str(), fullPath_) != FALSE;
}

bool IniFile::writeNumber(const std::string& section, const std::string& key, int32_t value) {
    return writeText(section, key, formatText("%d", value));
}

std::string IniFile::readText(const std::string& section, const std::string& key,
                              const std::string& defaultValue) const {
    char buffer[256] = {};
    GetPrivateProfileStringA(section.c_str(), key.c_str(), defaultValue.c_str(), buffer, sizeof(buffer),
                             fullPath_);
    return buffer;
}

bool IniFile::hasValue(const std::string& section, const std::string& key) const {
    return !trim(readText(section, key)).empty();
}

}  // namespace zel
