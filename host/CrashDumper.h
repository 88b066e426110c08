#pragma once

#include "core/Uncopyable.h"

namespace zel {

// Creating the process-wide instance installs an unhandled-exception filter
// that writes a minidump beside the executable and then lets Windows handle
// the exception as usual. The entry creates it only in debug mode.
class CrashDumper : private Uncopyable {
public:
    static CrashDumper& instance();

private:
    CrashDumper();
};

}  // namespace zel
