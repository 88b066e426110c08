#include "io/CmdAnswer.h"

#include <algorithm>

#include "core/TextFormat.h"

namespace zel {
namespace {

constexpr uint8_t kAtaStatusDeviceFault = 0x20;
constexpr uint8_t kCheckCondition = 0x02;

// The completion's status field without the phase bit: SC 7..0, SCT 10..8.
uint16_t nvmeStatusField(const NvmeCommand& nvme) { return static_cast<uint16_t>(nvme.status() >> 1); }

bool isAtaPortRoute(const CmdPlan& plan) { return plan.route == ProtocolCode::kAtaOverAta; }

CmdProblem judgeAta(const CmdPlan& plan, const CmdAnswer& answer) {
    const uint8_t status = plan.ata.command;
    const ErrorCode statusCode = (status & kAtaStatusDeviceFault) ? err::kAtaDeviceFault : err::kAtaErrorStatus;
    if (plan.expectStatus) {
        if (status == plan.expectedStatus) return {};
        return {statusCode, formatText("[ActionCommand] STATUS=0x%02X, ERROR=0x%02X, expected STATUS=0x%02X", status,
                                       plan.ata.feature & 0xFF, plan.expectedStatus)};
    }
    if (!answer.routeOk) return {answer.routeError, ""};  // the route logged the ERR status
    if (status & kAtaStatusDeviceFault)
        return {err::kAtaDeviceFault, formatText("[ActionCommand] Device fault, STATUS=0x%02X", status)};
    return {};
}

CmdProblem judgeScsi(const CmdPlan& plan, const CmdAnswer& answer) {
    if (answer.routeOk) return {};
    if (plan.scsi.scsiStatus == 0) return {answer.routeError, ""};
    const SenseFields s = decodeSense(answer.sense);
    return {err::kScsiStatus, formatText("[ActionCommand] SCSI status 0x%02X, sense key %Xh, ASC %02Xh, ASCQ %02Xh",
                                         plan.scsi.scsiStatus, s.key, s.asc, s.ascq)};
}

CmdProblem judgeNvme(const CmdPlan& plan, const CmdAnswer& answer) {
    const uint16_t status = nvmeStatusField(plan.nvme);
    if (answer.routeOk && status == 0) return {};
    if (!hasDeviceAnswer(plan, answer)) return {answer.routeError, ""};
    return {err::kNvmeStatus, formatText("[ActionCommand] NVMe status 0x%04X (SCT %Xh, SC %02Xh)", status,
                                         (status >> 8) & 7, status & 0xFF)};
}

void addAtaKeys(const CmdPlan& plan, std::vector<std::pair<std::string, std::string>>* keys) {
    keys->emplace_back("status", formatText("0x%02X", plan.ata.command));
    keys->emplace_back("error", formatText("0x%02X", plan.ata.feature & 0xFF));
    keys->emplace_back("count", formatText("0x%04X", plan.ata.count));
    keys->emplace_back("lba", formatText("0x%012llX", static_cast<unsigned long long>(plan.ata.lba)));
    if (plan.expectStatus) keys->emplace_back("expected_status", formatText("0x%02X", plan.expectedStatus));
}

void addScsiKeys(const CmdPlan& plan, const CmdAnswer& answer, std::vector<std::pair<std::string, std::string>>* keys) {
    keys->emplace_back("scsi_status", formatText("0x%02X", plan.scsi.scsiStatus));
    if (plan.scsi.scsiStatus != kCheckCondition) return;
    const SenseFields s = decodeSense(answer.sense);
    keys->emplace_back("sense", hexBytes(answer.sense, sizeof answer.sense));
    keys->emplace_back("sense_key", formatText("0x%X", s.key));
    keys->emplace_back("asc", formatText("0x%02X", s.asc));
    keys->emplace_back("ascq", formatText("0x%02X", s.ascq));
}

void addNvmeKeys(const CmdPlan& plan, std::vector<std::pair<std::string, std::string>>* keys) {
    for (unsigned i = 0; i < 4; ++i)
        keys->emplace_back(formatText("dw%u", i), formatText("0x%08X", plan.nvme.completionDword(i)));
    const uint16_t status = nvmeStatusField(plan.nvme);
    keys->emplace_back("status", formatText("0x%04X", status));
    keys->emplace_back("sct", formatText("0x%X", (status >> 8) & 7));
    keys->emplace_back("sc", formatText("0x%02X", status & 0xFF));
}

}  // namespace

SenseFields decodeSense(const uint8_t (&sense)[32]) {
    const uint8_t format = sense[0] & 0x7F;
    if (format == 0x70 || format == 0x71) return {static_cast<uint8_t>(sense[2] & 0x0F), sense[12], sense[13]};
    if (format == 0x72 || format == 0x73) return {static_cast<uint8_t>(sense[1] & 0x0F), sense[2], sense[3]};
    return {};
}

bool hasDeviceAnswer(const CmdPlan& plan, const CmdAnswer& answer) {
    if (plan.step != CmdStep::Send) return false;
    if (answer.routeOk) return true;
    switch (plan.family) {
        case CmdFamily::Ata: return isAtaPortRoute(plan) && answer.routeError == err::kAtaErrorStatus;
        case CmdFamily::Scsi: return plan.scsi.scsiStatus != 0;
        case CmdFamily::Nvme:
            // The port routes hand back the completion even of a failed command.
            return plan.route != ProtocolCode::kNvmeByStornvme && nvmeStatusField(plan.nvme) != 0;
    }
    return false;
}

CmdProblem judgeAnswer(const CmdPlan& plan, const CmdAnswer& answer) {
    if (plan.step != CmdStep::Send) return {answer.routeOk ? 0 : answer.routeError, ""};
    if (plan.family == CmdFamily::Ata && isAtaPortRoute(plan) && hasDeviceAnswer(plan, answer))
        return judgeAta(plan, answer);
    if (plan.family == CmdFamily::Ata) return {answer.routeOk ? 0 : answer.routeError, ""};
    if (plan.family == CmdFamily::Scsi) return judgeScsi(plan, answer);
    return judgeNvme(plan, answer);
}

uint32_t bytesMoved(const CmdPlan& plan, const CmdAnswer& answer) {
    if (answer.transferred) return std::min(*answer.transferred, plan.dataLength);
    return answer.routeOk ? plan.dataLength : 0;
}

std::vector<std::pair<std::string, std::string>> answerKeys(const CmdPlan& plan, const CmdAnswer& answer,
                                                            ErrorCode code) {
    std::vector<std::pair<std::string, std::string>> keys;
    keys.emplace_back("protocol", familyName(plan.family));
    keys.emplace_back("action", plan.label);
    if (hasDeviceAnswer(plan, answer)) {
        if (plan.family == CmdFamily::Ata && isAtaPortRoute(plan)) addAtaKeys(plan, &keys);
        if (plan.family == CmdFamily::Scsi) addScsiKeys(plan, answer, &keys);
        if (plan.family == CmdFamily::Nvme) addNvmeKeys(plan, &keys);
    }
    if (plan.dataLength) {
        keys.emplace_back("data_length", std::to_string(bytesMoved(plan, answer)));
        keys.emplace_back("data_length_requested", std::to_string(plan.dataLength));
    }
    if (plan.step == CmdStep::Generate || plan.step == CmdStep::ReadLba)
        keys.emplace_back("dump_size", std::to_string(plan.dumpBytes));
    if (plan.dumpType == DumpType::Rand) keys.emplace_back("seed", std::to_string(answer.seed));
    keys.emplace_back("last_error", std::to_string(code));
    return keys;
}

std::string hexBytes(const uint8_t* bytes, size_t count) {
    std::string text;
    for (size_t i = 0; i < count; ++i) text += formatText(i ? " %02X" : "%02X", bytes[i]);
    return text;
}

std::vector<std::pair<std::string, std::string>> requestFields(const CmdPlan& plan) {
    std::vector<std::pair<std::string, std::string>> fields;
    fields.emplace_back("protocol", familyName(plan.family));
    fields.emplace_back("action", plan.label);
    fields.emplace_back("step", plan.step == CmdStep::Send ? "device" : "host");
    if (plan.step == CmdStep::Send && plan.family == CmdFamily::Ata) {
        fields.emplace_back("feature", formatText("0x%04X", plan.ata.feature));
        fields.emplace_back("count", formatText("0x%04X", plan.ata.count));
        fields.emplace_back("lba", formatText("0x%012llX", static_cast<unsigned long long>(plan.ata.lba)));
        fields.emplace_back("device", formatText("0x%02X", plan.ata.device));
        fields.emplace_back("command", formatText("0x%02X", plan.ata.command));
        fields.emplace_back("flags", formatText("0x%02X", plan.ata.flags));
    }
    if (plan.step == CmdStep::Send && plan.family == CmdFamily::Scsi)
        fields.emplace_back("cdb", hexBytes(plan.scsi.cdb, plan.scsi.cdbLength));
    if (plan.step == CmdStep::Send && plan.family == CmdFamily::Nvme) {
        fields.emplace_back("queue", plan.nvme.admin ? "admin" : "io");
        fields.emplace_back("opcode", formatText("0x%02X", plan.nvme.command[0]));
        fields.emplace_back("command", hexBytes(plan.nvme.command, 64));
    }
    fields.emplace_back("data_length", std::to_string(plan.dataLength));
    return fields;
}

std::string requestLine(const CmdPlan& plan) {
    std::string line = formatText("[ActionCommand] Request: %s %s", familyName(plan.family), plan.label.c_str());
    if (plan.step != CmdStep::Send) return line;
    if (plan.family == CmdFamily::Ata)
        line += formatText(", FEATURE=0x%04X, COUNT=0x%04X, LBA=0x%012llX, DEVICE=0x%02X, COMMAND=0x%02X, flags=0x%02X",
                           plan.ata.feature, plan.ata.count, static_cast<unsigned long long>(plan.ata.lba),
                           plan.ata.device, plan.ata.command, plan.ata.flags);
    if (plan.family == CmdFamily::Scsi) line += ", CDB=" + hexBytes(plan.scsi.cdb, plan.scsi.cdbLength);
    if (plan.family == CmdFamily::Nvme)
        line += formatText(", %s queue, command=", plan.nvme.admin ? "admin" : "io") + hexBytes(plan.nvme.command, 64);
    return line + formatText(", dataLength=%u", plan.dataLength);
}

std::string answerLine(const CmdPlan& plan, const CmdAnswer& answer) {
    std::string line = "[ActionCommand] Answer:";
    for (const auto& [key, value] : answerKeys(plan, answer, answer.routeOk ? 0 : answer.routeError))
        if (key != "protocol" && key != "action" && key != "last_error") line += " " + key + "=" + value;
    return line;
}

}  // namespace zel
