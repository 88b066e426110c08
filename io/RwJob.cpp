#include "io/RwJob.h"

#include <map>

namespace zel {
namespace {

template <typename T>
T lookUp(const std::map<std::string, T>& names, const std::string& text) {
    auto it = names.find(text);
    return it == names.end() ? T::Unknown : it->second;
}

}  // namespace

RwMode rwModeFromText(const std::string& text) {
    static const std::map<std::string, RwMode> names = {
        {"write", RwMode::SeqWrite},        {"randwrite", RwMode::RandWrite}, {"gapwrite", RwMode::GapWrite},
        {"read", RwMode::SeqRead},          {"randread", RwMode::RandRead},   {"gapread", RwMode::GapRead},
        {"precondition", RwMode::Precondition}, {"trim", RwMode::SeqTrim},    {"randtrim", RwMode::RandTrim},
        {"vucmdwrtrim", RwMode::VendorWriteTrim}};
    return lookUp(names, text);
}

RwMode effectiveMode(RwMode mode, IoType ioType) {
    if (ioType == IoType::Lba) return mode == RwMode::Precondition ? RwMode::Unknown : mode;
    if (mode == RwMode::Precondition) return mode;
    return mode == RwMode::SeqWrite ? RwMode::CopyFiles : RwMode::Unknown;
}

IoType ioTypeFromText(const std::string& text) {
    static const std::map<std::string, IoType> names = {{"lba", IoType::Lba}, {"file", IoType::File}};
    return lookUp(names, text);
}

PatternKind patternFromText(const std::string& text) {
    static const std::map<std::string, PatternKind> names = {{"fixed", PatternKind::Fixed},
                                                             {"rand", PatternKind::Rand},
                                                             {"zero", PatternKind::Zero},
                                                             {"dut", PatternKind::Dut},
                                                             {"trim", PatternKind::Trim}};
    return lookUp(names, text);
}

}  // namespace zel
