#include "app/DiskSelection.h"

#include "core/ErrorCodes.h"

namespace zel {

// The disk list is not part of this build yet: every lookup reports the
// feature as unsupported rather than pretending no disk matched.
DiskBase* findSelectedDisk(const ParseResult&) {
    setLastError(err::kNotSupported);
    return nullptr;
}

}  // namespace zel
