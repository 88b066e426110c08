#include "power/BoardSelection.h"

#include <algorithm>
#include <cctype>

#include "core/ProcessSwitches.h"
#include "disk/DiskTypes.h"

namespace zel {
namespace {

struct ClassName {
    BoardClass board;
    const char* name;
    int kind;
};

constexpr ClassName kClasses[] = {
    {BoardClass::SataHX410V1, "SataHX410V1", diskkind::kSataPowerSwitch},
    {BoardClass::SataHX410V2, "SataHX410V2", diskkind::kSataPowerSwitch},
    {BoardClass::PcieHX410V1, "PcieHX410V1", diskkind::kPciePowerSwitch},
    {BoardClass::PcieHX410V2, "PcieHX410V2", diskkind::kPciePowerSwitch},
    {BoardClass::JMicronGpio, "JMicronS583", diskkind::kJMicronNvme},
};

std::string lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
    return text;
}

const ClassName* classNamed(const std::string& name) {
    for (const ClassName& entry : kClasses)
        if (lower(entry.name) == lower(name)) return &entry;
    return nullptr;
}

BoardClass byGeneration(const BoardCandidate& disk) {
    const bool second = boardGeneration(disk.firmware) >= 2;
    if (disk.kind == diskkind::kSataPowerSwitch) return second ? BoardClass::SataHX410V2 : BoardClass::SataHX410V1;
    return second ? BoardClass::PcieHX410V2 : BoardClass::PcieHX410V1;
}

bool isSwitchKind(int kind, bool gpio) {
    if (gpio) return kind == diskkind::kJMicronNvme;
    return kind == diskkind::kSataPowerSwitch || kind == diskkind::kPciePowerSwitch;
}

}  // namespace

const char* boardClassName(BoardClass board) {
    for (const ClassName& entry : kClasses)
        if (entry.board == board) return entry.name;
    return "none";
}

int boardGeneration(const std::string& revision) {
    for (char c : revision)
        if (std::isdigit(static_cast<unsigned char>(c))) return c <= '1' ? 1 : 2;
    return 2;
}

BoardChoice chooseBoard(const PowerJob& job, uint32_t switchType, const std::vector<BoardCandidate>& disks) {
    const bool gpio = switchType == switchvalue::kSataGpioPowerSwitch;
    const ClassName* forced = classNamed(job.switchModel);
    if (forced && (forced->board == BoardClass::JMicronGpio) != gpio) return {};
    for (const BoardCandidate& disk : disks) {
        if (!isSwitchKind(disk.kind, gpio) || (forced && forced->kind != disk.kind)) continue;
        if (job.switchId != -1 && disk.number != job.switchId) continue;
        const bool byModel = job.switchId == -1 && !forced;
        if (byModel && lower(disk.model).find(lower(job.switchModel)) == std::string::npos) continue;
        if (gpio) return {BoardClass::JMicronGpio, disk.number};
        return {forced ? forced->board : byGeneration(disk), disk.number};
    }
    return {};
}

}  // namespace zel
