#pragma once

#include <cxxopts.hpp>

#include "app/ActionBase.h"
#include "app/ParseResult.h"
#include "core/ErrorCodes.h"

namespace zel {

// The whole run: parse, set up logging, run one global command or one
// action, and return the process exit code.
ErrorCode runEntry(int argc, const char* const* argv);

// Logging set-up from debug, and unless withFiles is false, logdir and logfile.
void setUpLogging(const ParseResult& args, bool withFiles = true);

// Runs init and execute of the action named by --action, applying the
// forgiveness of a missing port-I/O driver outside pre-check runs.
ErrorCode dispatchAction(ActionBase* action, const std::string& name, const ParseResult& args, bool precheck,
                         const cxxopts::Options& options);

}  // namespace zel
