#pragma once

#include "app/ParseResult.h"

namespace zel {
class DiskBase;

// diskid, diskmodel (unless excluded), disksn or diskpattern given.
bool hasDiskSelector(const ParseResult& options, bool acceptModel = true);

// The disk named by diskid, diskmodel, disksn and diskpattern, or null.
DiskBase* lookUpDisk(const ParseResult& options, bool fullBuild);

// As lookUpDisk on the fully built list, with 0x20000007 as the last error
// when there is no such disk.
DiskBase* findSelectedDisk(const ParseResult& options);

}  // namespace zel
