#pragma once

#include <string>

#include "app/ParseResult.h"
#include "core/ActionResultJson.h"
#include "core/ErrorCodes.h"

namespace zel {

class DiskBase;

// The frame's part of the --out_json record: what ran, on which disk, from
// when to when, and how it ended. Actions add their own part under their
// name (app/ActionRecords.h).

// Tool, version, the command line as given and the start time.
void beginRunRecord(int argc, const char* const* argv, uint64_t startMilliseconds);

// The global command or action that decides the run.
void recordRunCommand(const std::string& name, bool global);

// The disk the run worked on.
void recordRunDisk(const DiskBase& disk);

// Identity, geometry, kind, route, OS-drive flag and PCIe link of a disk.
Json diskJson(const DiskBase& disk);

// End time, exit code and its text; then the one save of the record when
// --out_json gives a path (relative ones in the log folder). False when the
// file could not be written (reported).
bool finishRunRecord(const ParseResult& args, ErrorCode exitCode);

}  // namespace zel
