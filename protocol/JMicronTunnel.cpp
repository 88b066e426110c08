#include "protocol/JMicronTunnel.h"

#include <cstring>

#include "protocol/Opcodes.h"

namespace zel {
namespace {

constexpr uint8_t kAdminQueue = 0x80;

}  // namespace

ScsiCommand buildJMicronCdb(JMicronPhase phase, bool admin, uint32_t length) {
    ScsiCommand scsi;
    scsi.cdbLength = 12;
    scsi.cdb[0] = scsiop::kAtaPassThrough12;  // the bridge's tunnel rides on it
    scsi.cdb[1] = static_cast<uint8_t>((admin ? kAdminQueue : 0) | static_cast<uint8_t>(phase));
    scsi.cdb[3] = static_cast<uint8_t>(length >> 16);
    scsi.cdb[4] = static_cast<uint8_t>(length >> 8);
    scsi.cdb[5] = static_cast<uint8_t>(length);
    switch (phase) {
        case JMicronPhase::kCommand:
        case JMicronPhase::kDataOut: scsi.direction = scsidir::kOut; break;
        case JMicronPhase::kDataIn:
        case JMicronPhase::kResponse: scsi.direction = scsidir::kIn; break;
        default: scsi.direction = scsidir::kUnspecified; break;
    }
    return scsi;
}

JMicronPhase jmicronDataPhase(const NvmeCommand& command, uint32_t dataSize) {
    if (dataSize == 0) return JMicronPhase::kNonData;
    if (command.direction == nvmedir::kFromDevice) return JMicronPhase::kDataIn;
    if (command.direction == nvmedir::kToDevice) return JMicronPhase::kDataOut;
    return JMicronPhase::kNonData;
}

JMicronCommandBlock buildJMicronCommandBlock(const NvmeCommand& command) {
    JMicronCommandBlock block;
    std::memset(&block, 0, sizeof block);
    block.signature = kJMicronSignature;
    std::memcpy(block.submission, command.command, sizeof block.submission);
    return block;
}

bool takeJMicronResponse(const JMicronResponseBlock& block, NvmeCommand* command) {
    if (block.signature != kJMicronSignature) return false;
    std::memcpy(command->completion, block.completion, sizeof command->completion);
    return true;
}

}  // namespace zel
