#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/Uncopyable.h"

namespace zel {

// An INI result file written through the Windows profile calls.
//
// Writes are kept until save() (or the destructor) and then go into the file
// at once: under the file's lock the current file is copied aside, the keys
// are written into the copy through the profile calls and the copy is renamed
// over the file (core/SafeSave.h). A reader, or a run after a kill, sees the
// file with all of one writer's keys or with none of them; threads and runs
// that share the file keep each other's keys.
class IniFile : private Uncopyable {
public:
    // Resolves the full path and creates an empty file if none exists there.
    explicit IniFile(const std::string& path);
    // Saves what is still pending; a failure is reported, not lost.
    ~IniFile();

    const char* path() const { return fullPath_; }

    // False only when the file has no usable path (empty or too long).
    bool writeText(const std::string& section, const std::string& key, const std::string& value);
    bool writeNumber(const std::string& section, const std::string& key, int32_t value);
    bool hasValue(const std::string& section, const std::string& key) const;
    // Pending values first, then the file.
    std::string readText(const std::string& section, const std::string& key,
                         const std::string& defaultValue = "") const;

    // Puts the pending keys into the file; false, with one WARNING line and
    // the failure kept for the end of the run, when it cannot be written.
    bool save();

private:
    struct Entry {
        std::string section;
        std::string key;
        std::string value;
    };

    bool usable();
    bool writeAside(const std::vector<Entry>& entries) const;

    std::string givenPath_;
    bool reported_ = false;
    char fullPath_[260] = {};
    std::vector<Entry> pending_;
};

}  // namespace zel
