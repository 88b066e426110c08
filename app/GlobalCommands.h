#pragma once

#include <optional>

#include "app/ParseResult.h"
#include "core/ErrorCodes.h"

namespace zel {

// Runs the first global command given, in their fixed order. Returns its
// exit code, or nothing when the run goes on to action dispatch.
std::optional<ErrorCode> runGlobalCommands(const ParseResult& args);

// --close_winio: closes and removes the port-I/O driver service.
ErrorCode closeWinIo();

}  // namespace zel
