#pragma once

#include <cstdint>
#include <optional>

#include "app/OptionReader.h"
#include "app/ParseResult.h"
#include "io/CmdJob.h"
#include "io/RwJob.h"
#include "io/WorkloadJob.h"
#include "power/PowerJob.h"
#include "smart/SmartJob.h"

namespace zel {

// Whether a disk-selecting option was given, tested in the order diskid,
// diskmodel (unless the action leaves it out), disksn, diskpattern.
bool hasDiskOption(const ParseResult& args, bool acceptModel = true);

// Each reader fills its job from the options, defaults applied, and answers
// the first value it could not read (nothing is run with such a job).
std::optional<OptionProblem> readRwJob(const ParseResult& args, uint64_t nowSeconds, RwJob* job);
std::optional<OptionProblem> readWorkloadJob(const ParseResult& args, WorkloadJob* job);
std::optional<OptionProblem> readSmartJob(const ParseResult& args, SmartJob* job);
std::optional<OptionProblem> readPowerJob(const ParseResult& args, PowerJob* job);
std::optional<OptionProblem> readCmdJob(const ParseResult& args, CmdJob* job);

}  // namespace zel
