#include "app/CommandLineChecks.h"

#include <set>

#include "core/Paths.h"

namespace zel {
namespace {

const std::set<std::string>& fileOptions() {
    static const std::set<std::string> names = {
        "logfile", "logdir",     "out-ini",      "out-log",        "out-bin",        "out-csv", "out_json",
        "in-bin",  "in-ini",     "commfile",     "smart-config",   "prev-smart-bin", "init-smart-bin",
        "dump",    "screenshot", "path",         "src",            "dest"};
    return names;
}

std::optional<OptionProblem> deviceProblem(const std::string& option, const std::string& value) {
    const ParseResult single({{option, value}});
    for (const std::string& item : OptionReader(single).list(option.c_str()))
        if (namesDevice(item)) return OptionProblem{OptionProblem::Kind::NamesDevice, option, value};
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
    for (const char* option : {"diskid", "vid", "did"}) reader.decimal(option, 0);
    return reader.problem();
}

}  // namespace zel
