#include "app/CommandLineChecks.h"

#include <algorithm>

#include "app/OptionTable.h"
#include "core/Paths.h"
#include "core/ResultFileNames.h"
#include "core/SafeSave.h"

namespace zel {
namespace {

bool isPathKind(OptionKind kind) {
    return kind == OptionKind::InPath || kind == OptionKind::OutPath || kind == OptionKind::HerePath;
}

// Result files an action writes under their default names when the option is
// not given. The rw engine leaves miscompare dumps in the log folder; the
// widest thread number is assumed for their names.
struct DefaultFile {
    const char* action;
    const char* option;
    const char* name;
    bool inLogFolder;
};
const DefaultFile kDefaultFiles[] = {
    {"cmd", "out-ini", kDefaultOutputIni, true},          {"cmd", "out-bin", kDefaultOutputBin, true},
    {"smart", "out-ini", kDefaultOutputIni, true},        {"smart", "out-bin", kDefaultOutputBin, true},
    {"smart", "commfile", kDefaultActionResultJson, false}, {"pwr", "out-ini", kDefaultOutputIni, true},
    {"wkld", "commfile", kDefaultActionResultJson, false},  {"info", "commfile", kDefaultActionResultJson, false},
    {"rw", "logdir", "miscompare-expected_999.bin", true}};

std::vector<std::string> splitPaths(const std::string& option, const std::string& value) {
    const ParseResult single({{option, value}});
    return OptionReader(single).list(option.c_str());
}

std::optional<OptionProblem> deviceProblem(const std::string& option, const std::string& value) {
    for (const std::string& item : splitPaths(option, value))
        if (namesDevice(item)) return OptionProblem{OptionProblem::Kind::NamesDevice, option, value};
    return std::nullopt;
}

std::optional<OptionProblem> rangeProblem(OptionReader& reader, const char* option) {
    const int32_t value = reader.decimal(option);
    if (reader.problem() || (value >= 0 && value <= 0xFFFF)) return std::nullopt;
    return OptionProblem{OptionProblem::Kind::OutOfRange, option, reader.text(option)};
}

// The log folder as the logger keeps it, with its trailing backslash.
std::string logFolder(const ParseResult& args) {
    std::string folder = args.text("logdir");
    if (!folder.empty() && folder.back() != '\\') folder += '\\';
    return folder;
}

std::optional<OptionProblem> lengthProblem(const ParseResult& args, const std::string& option,
                                           const std::string& name, bool inLogFolder) {
    const std::string placed = inLogFolder && !isAbsolutePath(name) ? logFolder(args) + name : name;
    const std::string full = absoluteForm(placed);
    if (full.size() <= kMaxResultPathLength) return std::nullopt;
    return OptionProblem{OptionProblem::Kind::PathTooLong, option, full, full.size()};
}

// The entry's own numbers first, then each PCI id (16 bits) whole and in range.
std::optional<OptionProblem> entryNumberProblem(const ParseResult& args) {
    const char* const pciIds[] = {"vid", "did"};
    auto isPciId = [&](const std::string& name) { return name == pciIds[0] || name == pciIds[1]; };
    OptionReader reader(args);
    for (const OptionRow& row : optionTable())
        if (row.kind == OptionKind::Decimal && (row.readers & kByEntry) && !isPciId(row.name))
            reader.decimal(row.name.c_str());
    for (const char* option : pciIds)
        if (auto problem = rangeProblem(reader, option)) return problem;
    return reader.problem();
}

// What the run is about: a global command that writes files, else the action.
std::string runKind(const ParseResult& args) {
    if (args.has("info")) return args.has("init") ? "info" : "";
    return args.text("action");
}

// The written-file options in the order their length is checked: of several
// paths too long, scripts see the log file named first, then these result
// files; any other written-file option of the table follows in table order.
std::vector<const OptionRow*> writtenFileRows() {
    static const char* const kFirst[] = {"logfile", "out-ini", "out-log", "out-bin", "out-csv", "dump", "screenshot"};
    std::vector<const OptionRow*> rows;
    for (const char* name : kFirst) rows.push_back(findOption(name));
    for (const OptionRow& row : optionTable()) {
        const bool written = row.kind == OptionKind::OutPath || row.kind == OptionKind::HerePath;
        if (written && std::find(rows.begin(), rows.end(), &row) == rows.end()) rows.push_back(&row);
    }
    return rows;
}

std::optional<OptionProblem> pathLengthProblem(const ParseResult& args) {
    static const std::vector<const OptionRow*> kRows = writtenFileRows();
    for (const OptionRow* written : kRows) {
        const OptionRow& row = *written;
        if (!args.has(row.name)) continue;
        const bool inLogFolder = row.kind == OptionKind::OutPath;
        for (const std::string& item : splitPaths(row.name, args.text(row.name)))
            if (auto problem = lengthProblem(args, row.name, item, inLogFolder)) return problem;
    }
    const std::string kind = runKind(args);
    for (const DefaultFile& file : kDefaultFiles) {
        if (kind != file.action || (args.has(file.option) && std::string(file.option) != "logdir")) continue;
        if (auto problem = lengthProblem(args, file.option, file.name, file.inLogFolder)) return problem;
    }
    return std::nullopt;
}

// Every word no option took, each quoted, so that an empty one shows too.
std::optional<OptionProblem> strayWordProblem(const ParseResult& args) {
    if (args.strayWords().empty()) return std::nullopt;
    std::string words;
    for (const std::string& word : args.strayWords()) words += (words.empty() ? "\"" : " \"") + word + "\"";
    return OptionProblem{OptionProblem::Kind::StrayWords, "", words};
}

}  // namespace

bool isFileOption(const std::string& name) {
    const OptionRow* row = findOption(name);
    return row && isPathKind(row->kind);
}

std::optional<OptionProblem> findCommandLineProblem(const ParseResult& args) {
    if (auto problem = strayWordProblem(args)) return problem;
    for (const auto& [option, value] : args.values()) {
        if (!isFileOption(option)) continue;
        if (auto problem = deviceProblem(option, value)) return problem;
    }
    if (auto problem = entryNumberProblem(args)) return problem;
    return pathLengthProblem(args);
}

}  // namespace zel
