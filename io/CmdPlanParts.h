#pragma once

// The pieces the cmd translation shares between raw commands and the
// identify, trim, flush and dump shortcuts. Internal to the io layer.

#include <initializer_list>

#include "core/TextFormat.h"
#include "io/CmdTranslate.h"

namespace zel {
namespace cmdplan {

using Result = std::optional<CmdProblem>;

inline constexpr uint32_t kAtaBlock = 512;
inline constexpr uint64_t kLba28Max = 0x0FFFFFFF;
inline constexpr uint64_t kLba48Max = 0xFFFFFFFFFFFFull;
inline constexpr uint8_t kNvmeGetLogPage = 0x02;
inline constexpr uint8_t kNvmeIdentify = 0x06;
inline constexpr uint8_t kNvmeGetFeatures = 0x0A;
inline constexpr uint8_t kNvmeFlush = 0x00;
inline constexpr uint8_t kNvmeDatasetManagement = 0x09;
inline constexpr uint8_t kNvmeFirstVendorAdmin = 0xC0;
inline constexpr uint8_t kNvmeFirstVendorIo = 0x80;

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
