#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "core/ErrorCodes.h"
#include "core/Uncopyable.h"

namespace zel {

// A result file is never written in place: the new contents go to
// "<path>.tmp" beside it, are flushed to the disk and renamed over the file,
// so a reader (or a run after a kill) sees the old file or the new one.
// Read-modify-write happens under "<path>.lock", so runs and threads sharing
// a file keep each other's updates.
constexpr const char* kLockSuffix = ".lock";
constexpr const char* kTempSuffix = ".tmp";

// The longest full path of a file the tool writes: its companions above
// must still fit in MAX_PATH (260 with the terminating zero).
constexpr size_t kMaxResultPathLength = 259 - 5;

// An exclusive lock on "<path>.lock", waited for a bounded time. The file is
// opened without sharing and deleted on close; the system closes it when its
// holder ends, even by a kill, so no lock outlives its run.
class FileLock : private Uncopyable {
public:
    explicit FileLock(const std::string& path);
    ~FileLock();
    bool held() const { return held_; }

private:
    bool held_ = false;
    intptr_t handle_ = -1;
};

// Writes "<path>.tmp" (the caller holds the lock); false leaves the last error.
bool writeTempFile(const std::string& path, const std::string& bytes);
void discardTempFile(const std::string& path);

// Renames a written and closed "<path>.tmp" over the path after flushing it;
// the caller holds the lock. False leaves the old file and the last error.
bool moveTempIntoPlace(const std::string& path);

// Writes the bytes whole under the lock. This and the next report their
// own failure (reportResultFileFailure).
bool saveFileWhole(const std::string& path, const std::string& bytes);

// Reads the current contents (empty when there is no file) under the lock,
// lets the caller change them and saves them whole.
bool updateFileWhole(const std::string& path, const std::function<void(std::string*)>& change);

// Whole bytes of a file; false when it cannot be read.
bool readWholeFile(const std::string& path, std::string* bytes);

// A result file that could not be written: one WARNING line, and the code
// (the system's, else ERROR_WRITE_FAULT) kept for the end of the run, which
// must not then report success.
void reportResultFileFailure(const std::string& path, ErrorCode code);
ErrorCode resultFileFailure();

}  // namespace zel
