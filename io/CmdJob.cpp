#include "io/CmdJob.h"

#include <utility>

#include "core/TextFormat.h"

namespace zel {
namespace {

template <typename Enum, size_t N>
CmdWord<Enum> wordFromText(const std::string& text, const std::pair<const char*, Enum> (&words)[N]) {
    const std::string lower = toLower(text);
    for (const auto& [word, value] : words)
        if (lower == word) return {value, std::nullopt};
    return {Enum{}, text};
}

const std::pair<const char*, DumpType> kDumpTypes[] = {
    {"zero", DumpType::Zero},         {"rand", DumpType::Rand},   {"lba", DumpType::Lba},
    {"identify", DumpType::Identify}, {"smart", DumpType::Smart}, {"logpage", DumpType::LogPage},
    {"identifyns", DumpType::IdentifyNs}};

}  // namespace

CmdWord<CmdProtocol> cmdProtocolFromText(const std::string& text) {
    static const std::pair<const char*, CmdProtocol> kWords[] = {{"", CmdProtocol::DiskOwn},
                                                                  {"ata", CmdProtocol::Ata},
                                                                  {"scsi", CmdProtocol::Scsi},
                                                                  {"nvme", CmdProtocol::Nvme},
                                                                  {"zelnvme", CmdProtocol::Nvme}};
    return wordFromText(text, kWords);
}

CmdWord<CmdDirection> cmdDirectionFromText(const std::string& text) {
    static const std::pair<const char*, CmdDirection> kWords[] = {
        {"", CmdDirection::None}, {"none", CmdDirection::None}, {"in", CmdDirection::In}, {"out", CmdDirection::Out}};
    return wordFromText(text, kWords);
}

CmdWord<CmdQueue> cmdQueueFromText(const std::string& text) {
    static const std::pair<const char*, CmdQueue> kWords[] = {
        {"", CmdQueue::Admin}, {"admin", CmdQueue::Admin}, {"io", CmdQueue::Io}};
    return wordFromText(text, kWords);
}

CmdWord<DumpType> dumpTypeFromText(const std::string& text) { return wordFromText(text, kDumpTypes); }

const char* dumpTypeName(DumpType type) {
    for (const auto& [word, value] : kDumpTypes)
        if (value == type) return word;
    return "";
}

}  // namespace zel
