#pragma once

#include <cstdint>
#include <mutex>
#include <string>

namespace zel {

// The progress line of a file-level run, shared by its threads: "\r[%d%%]
// <label> <bytes written>..." at most four times a second, a last one at
// 100% and a line feed when the run ends well (the line feed alone when not).
class FileProgress {
public:
    FileProgress(std::string label, uint64_t totalBytes);
    void add(uint64_t bytes);
    // Ends a progress line on the console, so that a log line starts clean.
    void endLine();
    void finish(bool ok);

private:
    void show();
    void endLineLocked();

    std::mutex lock_;
    std::string label_;
    uint64_t total_ = 0;
    uint64_t done_ = 0;
    uint64_t lastTick_ = 0;
    bool shown_ = false;
    bool open_ = false;  // a progress line without its line feed
};

}  // namespace zel
