#include "app/DiskSelection.h"

#include "core/ErrorCodes.h"
#include "disk/DiskList.h"

namespace zel {

bool hasDiskSelector(const ParseResult& options, bool acceptModel) {
    return options.has("diskid") || (acceptModel && options.has("diskmodel")) || options.has("disksn") ||
           options.has("diskpattern");
}

DiskBase* lookUpDisk(const ParseResult& options, bool fullBuild) {
    return DiskList::instance().get(fullBuild).findDisk(options.integer("diskid", -1), options.text("diskmodel", ""),
                                                        options.text("disksn", ""), options.text("diskpattern", ""));
}

DiskBase* findSelectedDisk(const ParseResult& options) {
    DiskBase* disk = lookUpDisk(options, true);
    if (!disk) setLastError(err::kDiskNotFound);
    return disk;
}

}  // namespace zel
