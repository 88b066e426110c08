#pragma once

// The pieces the cmd translation shares between raw commands and the
// identify, trim, flush and dump shortcuts. Internal to the io layer.

#include <initializer_list>

#include "core/TextFormat.h"
#include "io/CmdTranslate.h"
#include "protocol/Opcodes.h"

namespace zel {
namespace cmdplan {

using Result = std::optional<CmdProblem>;

inline constexpr uint32_t kAtaBlock = 512;
inline constexpr uint64_t kLba28Max = 0x0FFFFFFF;
inline constexpr uint64_t kLba48Max = 0xFFFFFFFFFFFFull;

// A refusal with the action's prefix; `missing` is the shared option line.
Result refuse(ErrorCode code, const char* format, ...) ZEL_PRINTF_FORMAT(2, 3);
Result missing(const char* option);

bool isDmaCommand(uint8_t command);
void setAtaFlags(CmdPlan* plan, bool ext);
void setAtaShortcut(CmdPlan* plan, uint8_t command, uint16_t feature, uint64_t lba, CmdDirection direction, uint32_t bytes);
void setScsiShortcut(CmdPlan* plan, std::initializer_list<uint8_t> cdb, CmdDirection direction, uint32_t bytes);
void setNvmeRecord(CmdPlan* plan, const CmdTarget& target, uint8_t opcode, uint32_t nsid, bool admin);
void setNvmeRead(CmdPlan* plan, const CmdTarget& target, uint8_t opcode, uint32_t nsid, uint32_t cdw10, uint32_t bytes);
void setNvmeLogPage(CmdPlan* plan, const CmdTarget& target, uint8_t logId, uint32_t bytes);

// The shortcuts, each on the family and route the plan already holds.
void planIdentify(CmdPlan* plan, const CmdTarget& target);
void planFlush(const CmdJob& job, const CmdTarget& target, CmdPlan* plan);
Result planTrim(const CmdJob& job, const CmdTarget& target, CmdPlan* plan);
Result planDump(const CmdJob& job, const CmdTarget& target, CmdPlan* plan);

}  // namespace cmdplan
}  // namespace zel
