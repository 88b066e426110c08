#include "core/ErrorCodes.h"
#include "disk/DiskKinds.h"
#include "io/VendorRanges.h"

namespace zel {

bool readVendorRanges(DiskBase& disk, std::vector<VendorRange>* ranges) {
    auto* nvme = dynamic_cast<NvmeSsd*>(&disk);
    if (!nvme) {
        setLastError(err::kFunctionNotSupported);
        return false;
    }
    std::vector<uint8_t> data;
    if (nvme->readVendorData(kVendorRangesOpcode, kVendorRangesBytes, &data) != 0) return false;
    if (parseVendorRanges(data.data(), data.size(), ranges)) return true;
    setLastError(err::kNvmeStatus);
    return false;
}

}  // namespace zel
