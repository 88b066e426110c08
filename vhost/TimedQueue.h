#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <thread>

namespace zel {
namespace vhost {

// Runs jobs, named by an id, on a thread of its own once their time has
// come; jobs due at once run in the order they were added. The job runs
// without the queue's lock, so it may add or remove other jobs.
class TimedQueue {
public:
    using Clock = std::chrono::steady_clock;

    explicit TimedQueue(std::function<void(uint64_t)> run);
    // Jobs that have not started are dropped; a running one finishes first.
    ~TimedQueue();
    TimedQueue(const TimedQueue&) = delete;
    TimedQueue& operator=(const TimedQueue&) = delete;

    void add(uint64_t id, Clock::time_point due);
    // True when the job had not started; it will not run.
    bool remove(uint64_t id);

private:
    void loop();

    std::function<void(uint64_t)> run_;
    std::mutex lock_;
    std::condition_variable changed_;
    std::multimap<Clock::time_point, uint64_t> due_;
    std::map<uint64_t, std::multimap<Clock::time_point, uint64_t>::iterator> byId_;
    bool stopping_ = false;
    std::thread thread_;  // last: it starts once the members above exist
};

}  // namespace vhost
}  // namespace zel
