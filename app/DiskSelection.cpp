#include "app/DiskSelection.h"

#include "core/ErrorCodes.h"
#include "disk/DiskList.h"

namespace zel {

DiskBase* findSelectedDisk(const ParseResult& options) {
    DiskBase* disk = DiskList::instance().get(true).findDisk(
        options.integer("diskid", -1), options.text("diskmodel", ""), options.text("disksn", ""),
        options.text("diskpattern", ""));
    if (!disk) setLastError(err::kDiskNotFound);
    return disk;
}

}  // namespace zel
