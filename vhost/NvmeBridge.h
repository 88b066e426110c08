#pragma once

#include <cstdint>
#include <vector>

#include "vhost/NvmeController.h"
#include "vhost/ScsiTarget.h"

namespace zel {
namespace vhost {

// One tunnel CDB as the bridge read it.
struct BridgePhase {
    uint8_t phase = 0;    // byte 1 bits 3..0
    bool admin = false;   // byte 1 bit 7
    uint32_t length = 0;  // bytes 3..5, big-endian
};

// The NVMe tunnel of a JMicron USB bridge, all on CDB A1h: a 512-byte
// command block ("NVME" at byte 0, the submission entry at byte 8) goes
// out, the data phase runs it on the controller behind, and a 512-byte
// response block (signature, completion entry at byte 8) comes back.
// Phases out of order are a command sequence error.
class NvmeBridge {
public:
    explicit NvmeBridge(NvmeController& controller) : controller_(controller) {}

    ScsiResult execute(const uint8_t* cdb, uint8_t* data, uint32_t size);

    // The phases of the latest command, from its command block on.
    const std::vector<BridgePhase>& lastPhases() const { return phases_; }
    const NvmeCompletion& lastCompletion() const { return completion_; }

private:
    enum class State { Idle, Submitted, Completed };

    ScsiResult takeCommand(const uint8_t* data);
    ScsiResult run(uint8_t* data, uint32_t size);
    ScsiResult respond(uint8_t* data);

    NvmeController& controller_;
    std::vector<BridgePhase> phases_;
    State state_ = State::Idle;
    uint8_t submission_[64] = {};
    bool admin_ = true;
    NvmeCompletion completion_;
};

}  // namespace vhost
}  // namespace zel
