#pragma once

#include <optional>

#include "app/OptionReader.h"
#include "app/ParseResult.h"

namespace zel {

// The first value on the command line that must stop the run before any
// disk or file is touched: a number the entry reads (diskid, vid, did) that
// is not a whole decimal integer, or a file option that names a device.
std::optional<OptionProblem> findCommandLineProblem(const ParseResult& args);

// The options whose values are files the tool opens or creates; values of
// the list options are comma-separated paths.
bool isFileOption(const std::string& name);

}  // namespace zel
