#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <cxxopts.hpp>

#include "app/ParseResult.h"
#include "io/CmdJob.h"

namespace zel {

// How an option's value is read. The three path kinds are what the entry
// checks before anything runs: every path is refused when it names a device,
// and a written file's full path must fit the result-file limit.
enum class OptionKind {
    Flag,      // no value
    Text,
    Decimal,   // whole decimal, signed 32-bit
    Number,    // the tool's number syntax (0x1F, 1Fh, 4k, ...)
    Amount,    // non-negative decimal, such as seconds
    List,      // comma-separated numbers
    InPath,    // a file or folder read or used; comma-separated where several
    OutPath,   // a file written; a relative name goes in the log folder
    HerePath,  // a file written; a relative name stays in the working folder
};

// Who reads an option: the entry (global commands), or an action.
enum ReadBy : unsigned {
    kByEntry = 1u << 0,
    kByPwr = 1u << 1,
    kByRw = 1u << 2,
    kByCmd = 1u << 3,
    kByWkld = 1u << 4,
    kBySmart = 1u << 5,
};

struct OptionRow {
    std::string name;
    std::string shortName;  // "" for none
    std::string group;      // "" or "output", as help groups them
    std::string label;      // the argument's name in help
    std::string description;
    OptionKind kind = OptionKind::Text;
    std::string defaultValue;  // "" where the option has none
    unsigned readers = 0;      // ReadBy bits
    std::optional<CmdField> cmdField;  // the cmd engine's name for it
    std::string unit;          // what a number counts ("sectors", "bytes", "seconds"); "" for none
    bool hidden = false;       // parsed, but not listed by --help
};

// Every option, in help order.
const std::vector<OptionRow>& optionTable();
const OptionRow* findOption(const std::string& name);

// The options an action ("pwr", "rw", "cmd", "wkld", "smart") reads, in
// help order; empty for another name.
std::vector<std::string> optionsOfAction(const std::string& action);

// The names of the actions that read options, in the order above.
std::vector<std::string> actionNames();

// Every option of the table declared on one options object.
std::unique_ptr<cxxopts::Options> makeOptions();

// The --help text: every row but the hidden ones, in help order.
std::string helpText(const cxxopts::Options& options);

// Parses argv; parser exceptions propagate to the caller unhandled. Words
// that no option takes are kept for the entry to refuse.
ParseResult parseCommandLine(cxxopts::Options& options, int argc, const char* const* argv);

}  // namespace zel
