#pragma once

#include <string>

namespace zel {

// pssuspend beside the program: suspends or resumes (-r) a process by name.
class PssuspendWrapper {
public:
    bool suspend(const std::string& processName, double timeoutSeconds);
    bool resume(const std::string& processName, double timeoutSeconds);

private:
    struct Lines;
    bool run(const Lines& lines, const std::string& switches, const std::string& processName, double timeoutSeconds);
};

}  // namespace zel
