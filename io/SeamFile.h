#pragma once

#include <windows.h>

#include <cstdint>
#include <string>

#include "core/Uncopyable.h"

namespace zel {

// An ordinary file opened through the kernel seam, so that a dry run's
// files on the disk under test's letters land in the virtual host's state.
// Failures leave the last error.
class SeamFile : private Uncopyable {
public:
    SeamFile() = default;
    ~SeamFile();

    // A new (or emptied) file; write-through when asked.
    bool create(const std::string& path, bool writeThrough);
    bool openForReading(const std::string& path);
    // Writes all of it; ERROR_DISK_FULL and friends from the volume.
    bool write(const void* data, uint32_t bytes);
    // Up to bytes; *got is 0 at the end of the file.
    bool read(void* data, uint32_t bytes, uint32_t* got);
    bool size(uint64_t* bytes);
    // Flushes, then closes; false when the flush failed.
    bool close();

private:
    bool open(const std::string& path, DWORD access, DWORD share, DWORD disposition, DWORD flags);

    HANDLE handle_ = INVALID_HANDLE_VALUE;
    bool written_ = false;
};

// "X:\a\b" folders, created one level at a time; one that exists is fine.
bool ensureFolder(const std::string& path);

}  // namespace zel
