#pragma once

#include <string>
#include <vector>

#include "host/RunRequest.h"

namespace zel {

class DiskBase;

// The system's diskpart, run with a script file written to the current
// folder and deleted after the run.
class DiskpartWrapper {
public:
    bool clean(int diskNumber, double timeoutSeconds);
    bool format(int diskNumber, char letter, double timeoutSeconds);

    // The letter a format assigns: the disk's first one when it has one,
    // else the first of D..Z that no volume uses (Z when all do).
    static char letterFor(const DiskBase* disk);

private:
    // The run's result; false with the code in result when the script
    // could not be written or diskpart not started.
    bool runScript(const char* fileName, const std::vector<std::string>& lines, double timeoutSeconds,
                   RunResult* result);
};

}  // namespace zel
