#pragma once

namespace zel {

// Derive privately to forbid copies of process-wide services and file owners.
class Uncopyable {
protected:
    Uncopyable() = default;
    ~Uncopyable() = default;

public:
    Uncopyable(const Uncopyable&) = delete;
    Uncopyable& operator=(const Uncopyable&) = delete;
};

}  // namespace zel
