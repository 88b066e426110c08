#pragma once

#include <string>

#include "core/ActionResultJson.h"

namespace zel {

// The one JSON document a run leaves with --out_json. The frame and the
// action add their parts while the run goes; the entry saves it once at
// the end (saveRunRecord), whole or not at all.
inline constexpr int kRunRecordSchemaVersion = 1;

Json& runRecord();

// Writes the record through the result-file save; false (reported like
// every result file) when it cannot be written.
bool saveRunRecord(const std::string& path);

// "2026-11-25T22:17:28.123", a local-time millisecond stamp.
std::string isoTimeText(uint64_t localMilliseconds);

}  // namespace zel
