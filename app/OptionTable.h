#pragma once

#include <memory>
#include <string>

#include <cxxopts.hpp>

#include "app/ParseResult.h"

namespace zel {

// Every option of the tool, declared in help order on one options object.
std::unique_ptr<cxxopts::Options> makeOptions();

// Parses argv; parser exceptions propagate to the caller unhandled.
ParseResult parseCommandLine(cxxopts::Options& options, int argc, const char* const* argv);

}  // namespace zel
