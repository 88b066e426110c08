#include "vhost/TimedQueue.h"

namespace zel {
namespace vhost {

TimedQueue::TimedQueue(std::function<void(uint64_t)> run) : run_(std::move(run)), thread_([this] { loop(); }) {}

TimedQueue::~TimedQueue() {
    {
        std::lock_guard<std::mutex> guard(lock_);
        stopping_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

void TimedQueue::add(uint64_t id, Clock::time_point due) {
    {
        std::lock_guard<std::mutex> guard(lock_);
        auto earlier = byId_.find(id);
        if (earlier != byId_.end()) due_.erase(earlier->second);
        byId_[id] = due_.emplace(due, id);
    }
    changed_.notify_all();
}

bool TimedQueue::remove(uint64_t id) {
    std::lock_guard<std::mutex> guard(lock_);
    auto found = byId_.find(id);
    if (found == byId_.end()) return false;
    due_.erase(found->second);
    byId_.erase(found);
    return true;
}

void TimedQueue::loop() {
    std::unique_lock<std::mutex> guard(lock_);
    while (!stopping_) {
        if (due_.empty()) {
            changed_.wait(guard);
            continue;
        }
        const auto next = due_.begin();
        if (Clock::now() < next->first) {
            changed_.wait_until(guard, next->first);
            continue;
        }
        const uint64_t id = next->second;
        byId_.erase(id);
        due_.erase(next);
        guard.unlock();
        run_(id);
        guard.lock();
    }
}

}  // namespace vhost
}  // namespace zel
