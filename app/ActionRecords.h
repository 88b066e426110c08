#pragma once

#include "core/ActionResultJson.h"
#include "io/CmdRecord.h"
#include "io/RwRecord.h"
#include "power/PowerRunRecord.h"

namespace zel {

// The actions' parts of the run record, rendered from what their engines
// filled in (docs/results.md lists every key).
Json rwRecordJson(const RwRunRecord& record);
Json cmdRecordJson(const CmdRunRecord& record);
Json pwrRecordJson(const PowerRunRecord& record);

}  // namespace zel
