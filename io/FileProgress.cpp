#include "io/FileProgress.h"

#include <windows.h>

#include <cstdio>

#include "core/Logger.h"

namespace zel {
namespace {

constexpr uint64_t kProgressIntervalMs = 250;

}  // namespace

FileProgress::FileProgress(std::string label, uint64_t totalBytes) : label_(std::move(label)), total_(totalBytes) {}

void FileProgress::add(uint64_t bytes) {
    std::lock_guard<std::mutex> guard(lock_);
    done_ += bytes;
    const uint64_t now = GetTickCount64();
    if (shown_ && now - lastTick_ < kProgressIntervalMs) return;
    lastTick_ = now;
    show();
}

void FileProgress::show() {
    shown_ = true;
    open_ = true;
    const int percent = total_ ? static_cast<int>(static_cast<unsigned __int128>(done_) * 100 / total_) : 100;
    printProgress(percent, label_.c_str(), done_);
}

void FileProgress::endLine() {
    std::lock_guard<std::mutex> guard(lock_);
    endLineLocked();
}

void FileProgress::endLineLocked() {
    if (!open_) return;
    open_ = false;
    std::printf("\n");
    std::fflush(stdout);
}

void FileProgress::finish(bool ok) {
    std::lock_guard<std::mutex> guard(lock_);
    if (ok && shown_) show();
    endLineLocked();
}

}  // namespace zel
