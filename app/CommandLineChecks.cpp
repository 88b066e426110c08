#include "app/CommandLineChecks.h"

#include <set>

#include "core/Paths.h"
#include "core/SafeSave.h"

namespace zel {
namespace {

const std::set<std::string>& fileOptions() {
    static const std::set<std::string> names = {
        "logfile", "logdir",     "out-ini",      "out-log",        "out-bin",        "out-csv", "out_json",
        "in-bin",  "in-ini",     "commfile",     "smart-config",   "prev-smart-bin", "init-smart-bin",
        "dump",    "screenshot", "path",         "src",            "dest"};
    return names;
}

// The files a run writes: where a relative name goes (the log folder or the
// working folder), as their writers resolve them.
struct WrittenFile {
    const char* option;
    bool inLogFolder;
};
const WrittenFile kWrittenFiles[] = {{"logfile", true}, {"out-ini", true},    {"out-log", true},
                                     {"out-bin", true}, {"out-csv", true},    {"dump", true},
                                     {"screenshot", true}, {"commfile", false}, {"out_json", false}};

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
    {"cmd", "out-ini", "zelcli_output.ini", true},     {"cmd", "out-bin", "zelcli_output.bin", true},
    {"smart", "out-ini", "zelcli_output.ini", true},   {"smart", "out-bin", "zelcli_output.bin", true},
    {"smart", "commfile", "zelcli_actres.json", false}, {"pwr", "out-ini", "zelcli_output.ini", true},
    {"wkld", "commfile", "zelcli_actres.json", false},  {"info", "commfile", "zelcli_actres.json", false},
    {"rw", "logdir", "miscompare-expected_999.bin", true}};

std::optional<OptionProblem> deviceProblem(const std::string& option, const std::string& value) {
    const ParseResult single({{option, value}});
    for (const std::string& item : OptionReader(single).list(option.c_str()))
        if (namesDevice(item)) return OptionProblem{OptionProblem::Kind::NamesDevice, option, value};
    return std::nullopt;
}

std::optional<OptionProblem> rangeProblem(OptionReader& reader, const char* option) {
    const int32_t value = reader.decimal(option, 0);
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

// What the run is about: a global command that writes files, else the action.
std::string runKind(const ParseResult& args) {
    if (args.has("info")) return args.has("init") ? "info" : "";
    return args.text("action");
}

std::optional<OptionProblem> pathLengthProblem(const ParseResult& args) {
    for (const WrittenFile& file : kWrittenFiles) {
        if (!args.has(file.option)) continue;
        const ParseResult single({{file.option, args.text(file.option)}});
        for (const std::string& item : OptionReader(single).list(file.option))
            if (auto problem = lengthProblem(args, file.option, item, file.inLogFolder)) return problem;
    }
    const std::string kind = runKind(args);
    for (const DefaultFile& file : kDefaultFiles) {
        if (kind != file.action || (args.has(file.option) && std::string(file.option) != "logdir")) continue;
        if (auto problem = lengthProblem(args, file.option, file.name, file.inLogFolder)) return problem;
    }
    return std::nullopt;
}

}  // namespace

bool isFileOption(const std::string& name) { return fileOptions().count(name) != 0; }

std::optional<OptionProblem> findCommandLineProblem(const ParseResult& args) {
    for (const auto& [option, value] : args.values()) {
        if (!isFileOption(option)) continue;
        if (auto problem = deviceProblem(option, value)) return problem;
    }
    OptionReader reader(args);
    reader.decimal("diskid", 0);
    for (const char* option : {"vid", "did"})
        if (auto problem = rangeProblem(reader, option)) return problem;
    if (reader.problem()) return reader.problem();
    return pathLengthProblem(args);
}

}  // namespace zel
