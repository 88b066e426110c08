#include "vhost/NvmeRegisters.h"

namespace zel {
namespace vhost {
namespace {

uint32_t shutdownNotification(uint32_t cc) { return (cc >> 14) & 0x3; }

}  // namespace

uint32_t NvmeRegisters::read(uint32_t offset) const {
    switch (offset) {
        case 0x00: return 0x3C033FFF;  // CAP: MQES 0x3FFF, contiguous queues, 30 s ready time-out
        case 0x04: return 0x00000020;  // CAP high: NVM command set
        case 0x08: return 0x00010400;  // VS 1.4
        case kCc: return cc_;
        case kCsts: {
            const uint32_t ready = cc_ & 0x1;
            if (!shutdownNotification(cc_)) return ready;
            return ready | (complete_ ? 2u : 1u) << 2;
        }
        default: return 0;
    }
}

void NvmeRegisters::write(uint32_t offset, uint32_t value) {
    if (offset != kCc) return;
    cc_ = value;
    if (!shutdownNotification(value)) {
        complete_ = false;  // the host took the request back
        return;
    }
    ++requests_;
    if (completeOnRequest_ != 0 && requests_ >= completeOnRequest_) complete_ = true;
}

void NvmeRegisters::reset() {
    cc_ = kResetCc;
    requests_ = 0;
    complete_ = false;
}

}  // namespace vhost
}  // namespace zel
