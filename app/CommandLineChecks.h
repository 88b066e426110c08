#pragma once

#include <optional>

#include "app/OptionReader.h"
#include "app/ParseResult.h"

namespace zel {

// The first value on the command line that must stop the run before any
// disk or file is touched: words that no option takes, a number the entry reads (diskid, vid, did) that
// is not a whole decimal integer, a PCI id (vid, did) above 16 bits, a file
// option that names a device, or a file the run writes (given, or an
// action's default name) whose full path is too long to be written safely.
std::optional<OptionProblem> findCommandLineProblem(const ParseResult& args);

// The options whose values are files the tool opens or creates; values of
// the list options are comma-separated paths.
bool isFileOption(const std::string& name);

}  // namespace zel
