#include "core/IniFile.h"

#include <windows.h>

#include "core/ErrorCodes.h"
#include "core/SafeSave.h"
#include "core/TextFormat.h"

namespace zel {

IniFile::IniFile(const std::string& path) : givenPath_(path) {
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

IniFile::~IniFile() { save(); }

// A path that did not resolve within MAX_PATH is reported once, so the keys
// meant for it are not lost without a word.
bool IniFile::usable() {
    if (fullPath_[0] != '\0') return true;
    if (!givenPath_.empty() && !reported_) {
        reported_ = true;
        reportResultFileFailure(givenPath_, ERROR_FILENAME_EXCED_RANGE);
    }
    return false;
}

bool IniFile::writeText(const std::string& section, const std::string& key, const std::string& value) {
    if (!usable()) return false;
    pending_.push_back({section, key, value});
    return true;
}

bool IniFile::writeNumber(const std::string& section, const std::string& key, int32_t value) {
    return writeText(section, key, formatText("%d", value));
}

std::string IniFile::readText(const std::string& section, const std::string& key,
                              const std::string& defaultValue) const {
    for (auto entry = pending_.rbegin(); entry != pending_.rend(); ++entry)
        if (toLower(entry->section) == toLower(section) && toLower(entry->key) == toLower(key)) return entry->value;
    char buffer[256] = {};
    GetPrivateProfileStringA(section.c_str(), key.c_str(), defaultValue.c_str(), buffer, sizeof(buffer),
                             fullPath_);
    return buffer;
}

bool IniFile::hasValue(const std::string& section, const std::string& key) const {
    return !trim(readText(section, key)).empty();
}

// The copy starts from the file as it is now, so keys that another writer
// saved since this object was made are kept.
bool IniFile::writeAside(const std::vector<Entry>& entries) const {
    std::string current;
    readWholeFile(fullPath_, &current);
    if (!writeTempFile(fullPath_, current)) return false;
    const std::string temp = std::string(fullPath_) + kTempSuffix;
    for (const Entry& e : entries) {
        if (!WritePrivateProfileStringA(e.section.c_str(), e.key.c_str(), e.value.c_str(), temp.c_str()))
            return takeSystemLastError(), false;
    }
    WritePrivateProfileStringA(nullptr, nullptr, nullptr, temp.c_str());
    return true;
}

bool IniFile::save() {
    if (pending_.empty()) return true;
    std::vector<Entry> entries;
    entries.swap(pending_);
    {
        FileLock lock(fullPath_);
        if (lock.held() && writeAside(entries) && moveTempIntoPlace(fullPath_)) return true;
        discardTempFile(fullPath_);
    }
    reportResultFileFailure(fullPath_, lastError());
    return false;
}

}  // namespace zel
