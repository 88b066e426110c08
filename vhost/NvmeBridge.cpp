#include "vhost/NvmeBridge.h"

#include <cstring>

namespace zel {
namespace vhost {
namespace {

constexpr uint32_t kBlockSize = 512;
constexpr uint8_t kSignature[4] = {'N', 'V', 'M', 'E'};
constexpr uint8_t kCommandPhase = 0x0, kNonData = 0x1, kDataIn = 0x2, kDataOut = 0x3, kResponse = 0xF;

ScsiResult invalidFieldInCdb() { return checkCondition(0x05, 0x24, 0x00); }
ScsiResult sequenceError() { return checkCondition(0x05, 0x2C, 0x00); }

ScsiResult moved(uint32_t bytes) {
    ScsiResult result;
    result.transferred = bytes;
    return result;
}

void putDword(uint8_t* at, uint32_t value) {
    for (int i = 0; i < 4; ++i) at[i] = static_cast<uint8_t>(value >> (8 * i));
}

}  // namespace

ScsiResult NvmeBridge::execute(const uint8_t* cdb, uint8_t* data, uint32_t size) {
    BridgePhase phase;
    phase.phase = cdb[1] & 0x0F;
    phase.admin = (cdb[1] & 0x80) != 0;
    phase.length = uint32_t(cdb[3]) << 16 | uint32_t(cdb[4]) << 8 | cdb[5];
    if (phase.phase == kCommandPhase) phases_.clear();
    phases_.push_back(phase);
    if (phase.length > size) return invalidFieldInCdb();
    switch (phase.phase) {
        case kCommandPhase:
            admin_ = phase.admin;
            return phase.length == kBlockSize ? takeCommand(data) : invalidFieldInCdb();
        case kNonData:
            return phase.length == 0 ? run(nullptr, 0) : invalidFieldInCdb();
        case kDataIn:
        case kDataOut: return run(data, phase.length);
        case kResponse: return phase.length == kBlockSize ? respond(data) : invalidFieldInCdb();
        default: return invalidFieldInCdb();
    }
}

ScsiResult NvmeBridge::takeCommand(const uint8_t* data) {
    state_ = State::Idle;
    if (std::memcmp(data, kSignature, 4) != 0)
        return checkCondition(0x05, 0x26, 0x00);  // invalid field in parameter list
    std::memcpy(submission_, data + 8, sizeof submission_);
    state_ = State::Submitted;
    return moved(kBlockSize);
}

ScsiResult NvmeBridge::run(uint8_t* data, uint32_t size) {
    if (state_ != State::Submitted) return sequenceError();
    uint8_t none = 0;
    controller_.execute(submission_, admin_, size ? data : &none, size, &completion_);
    state_ = State::Completed;
    return moved(size);
}

ScsiResult NvmeBridge::respond(uint8_t* data) {
    if (state_ != State::Completed) return sequenceError();
    std::memset(data, 0, kBlockSize);
    std::memcpy(data, kSignature, 4);
    putDword(data + 8, completion_.dword0);
    putDword(data + 12, completion_.dword1);
    putDword(data + 16, completion_.dword2);
    putDword(data + 20, completion_.dword3);
    state_ = State::Idle;
    return moved(kBlockSize);
}

}  // namespace vhost
}  // namespace zel
