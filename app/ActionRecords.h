#pragma once

#include "core/ActionResultJson.h"
#include "io/CmdRecord.h"
#include "io/RwRecord.h"
#include "io/WorkloadRecord.h"
#include "power/PowerRunRecord.h"
#include "smart/SmartRunRecord.h"

namespace zel {

// The actions' parts of the run record, rendered from what their engines
// filled in (docs/results.md lists every key).
Json rwRecordJson(const RwRunRecord& record);
Json cmdRecordJson(const CmdRunRecord& record);
Json pwrRecordJson(const PowerRunRecord& record);
Json smartRecordJson(const SmartRunRecord& record);
Json wkldRecordJson(const WorkloadRunRecord& record);

}  // namespace zel
