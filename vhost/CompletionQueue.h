#pragma once

#include <windows.h>

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>

namespace zel {
namespace vhost {

// An event whose low bit is set asks for no completion packet; the event
// itself is the handle without that bit.
inline bool wantsPacket(const OVERLAPPED* overlapped) {
    return (reinterpret_cast<uintptr_t>(overlapped->hEvent) & 1) == 0;
}
inline HANDLE eventOf(const OVERLAPPED* overlapped) {
    return reinterpret_cast<HANDLE>(reinterpret_cast<uintptr_t>(overlapped->hEvent) & ~uintptr_t{1});
}

// An I/O completion port kept in the process: packets in a queue under a
// lock and a condition for the blocking wait, so collecting a completion
// costs no kernel object (under Wine, no trip to the wineserver).
class CompletionQueue {
public:
    void post(const OVERLAPPED_ENTRY& packet);
    // Up to count packets; waits up to timeoutMs (INFINITE: for ever) for the
    // first. 0 when none came in time.
    ULONG take(OVERLAPPED_ENTRY* packets, ULONG count, DWORD timeoutMs);

private:
    std::mutex lock_;
    std::condition_variable posted_;
    std::deque<OVERLAPPED_ENTRY> packets_;
    int waiting_ = 0;
};

}  // namespace vhost
}  // namespace zel
