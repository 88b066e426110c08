#pragma once

#include <cstdint>

namespace zel {
namespace vhost {

// The BAR0 registers of an emulated NVMe controller that the tool touches:
// CAP (0x00), VS (0x08), CC (0x14) and CSTS (0x1C). CC.EN shows as
// CSTS.RDY; a CC write with CC.SHN set is a shutdown request, and CSTS.SHST
// reads 1 (processing) until the request numbered `completeOnRequest`,
// then 2 (complete). 0 means it never completes.
class NvmeRegisters {
public:
    static constexpr uint32_t kCc = 0x14;
    static constexpr uint32_t kCsts = 0x1C;
    static constexpr uint32_t kResetCc = 0x00460001;

    explicit NvmeRegisters(uint32_t completeOnRequest = 1) : completeOnRequest_(completeOnRequest) {}

    uint32_t read(uint32_t offset) const;
    void write(uint32_t offset, uint32_t value);
    bool shutdownComplete() const { return complete_; }
    unsigned shutdownRequests() const { return requests_; }
    // What a power cycle leaves: the reset value, no request seen.
    void reset();

private:
    uint32_t completeOnRequest_;
    uint32_t cc_ = kResetCc;
    unsigned requests_ = 0;
    bool complete_ = false;
};

}  // namespace vhost
}  // namespace zel
