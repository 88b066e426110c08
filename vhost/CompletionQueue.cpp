#include "vhost/CompletionQueue.h"

#include <chrono>

namespace zel {
namespace vhost {

void CompletionQueue::post(const OVERLAPPED_ENTRY& packet) {
    bool wake = false;
    {
        std::lock_guard<std::mutex> guard(lock_);
        packets_.push_back(packet);
        wake = waiting_ > 0;
    }
    if (wake) posted_.notify_one();
}

ULONG CompletionQueue::take(OVERLAPPED_ENTRY* packets, ULONG count, DWORD timeoutMs) {
    std::unique_lock<std::mutex> guard(lock_);
    if (packets_.empty() && timeoutMs != 0) {
        ++waiting_;
        auto ready = [this] { return !packets_.empty(); };
        if (timeoutMs == INFINITE)
            posted_.wait(guard, ready);
        else
            posted_.wait_for(guard, std::chrono::milliseconds(timeoutMs), ready);
        --waiting_;
    }
    ULONG taken = 0;
    for (; taken < count && !packets_.empty(); ++taken) {
        packets[taken] = packets_.front();
        packets_.pop_front();
    }
    return taken;
}

}  // namespace vhost
}  // namespace zel
