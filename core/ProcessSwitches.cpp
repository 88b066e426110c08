#include "core/ProcessSwitches.h"

namespace zel {

ProcessSwitches& processSwitches() {
    static ProcessSwitches switches;
    return switches;
}

}  // namespace zel
