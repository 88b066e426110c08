#include "vhost/Faults.h"

namespace zel {
namespace vhost {
namespace {

bool overlaps(const FaultDescription& fault, uint64_t lba, uint64_t count) {
    if (fault.count == 0) return true;
    const uint64_t end = lba + (count ? count : 1);
    return lba < fault.lba + fault.count && fault.lba < end;
}

}  // namespace

const FaultDescription* Faults::match(const char* kind, int opcode, uint64_t lba, uint64_t count, uint32_t ioctl) {
    for (FaultDescription& fault : list_) {
        if (fault.kind != kind || fault.remaining == 0) continue;
        if (fault.opcode >= 0 && opcode >= 0 && fault.opcode != opcode) continue;
        if (fault.ioctl != 0 && ioctl != 0 && fault.ioctl != ioctl) continue;
        if (!overlaps(fault, lba, count)) continue;
        if (fault.remaining > 0) --fault.remaining;
        return &fault;
    }
    return nullptr;
}

const FaultDescription* Faults::matchUnranged(const char* kind, int opcode, uint32_t ioctl) {
    for (FaultDescription& fault : list_) {
        if (fault.kind != kind || fault.remaining == 0 || fault.count != 0) continue;
        if (fault.opcode >= 0 && opcode >= 0 && fault.opcode != opcode) continue;
        if (fault.ioctl != 0 && fault.ioctl != ioctl) continue;
        if (fault.remaining > 0) --fault.remaining;
        return &fault;
    }
    return nullptr;
}

bool Faults::has(const char* kind) const { return find(kind) != nullptr; }

const FaultDescription* Faults::find(const char* kind) const {
    for (const FaultDescription& fault : list_)
        if (fault.kind == kind && fault.remaining != 0) return &fault;
    return nullptr;
}

}  // namespace vhost
}  // namespace zel
