#pragma once

#include "app/ParseResult.h"

namespace zel {
class DiskBase;

// Looks up the disk named by diskid, diskmodel, disksn and diskpattern in the
// disk list. Null with the last error set when there is none.
DiskBase* findSelectedDisk(const ParseResult& options);

}  // namespace zel
