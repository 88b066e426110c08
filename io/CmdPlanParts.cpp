#include "io/CmdPlanParts.h"

#include <algorithm>
#include <cstdarg>

namespace zel {
namespace cmdplan {

Result refuse(ErrorCode code, const char* format, ...) {
    va_list args;
    va_start(args, format);
    CmdProblem problem{code, "[ActionCommand] " + formatTextV(format, args)};
    va_end(args);
    return problem;
}

Result missing(const char* option) {
    return CmdProblem{err::kWrongArguments, formatText("Miss some options (%s)!", option)};
}

// Commands that move their data by DMA: the ATA port needs to be told.
bool isDmaCommand(uint8_t command) {
    static const uint8_t kCommands[] = {ataop::kDataSetManagement, ataop::kReadDmaExt, ataop::kWriteDmaExt,
                                        ataop::kWriteDmaFuaExt, ataop::kReadLogDmaExt, ataop::kWriteLogDmaExt,
                                        ataop::kDownloadMicrocodeDma, ataop::kReadDma, ataop::kWriteDma};
    for (uint8_t c : kCommands) if (c == command) return true;
    return false;
}

void setAtaFlags(CmdPlan* plan, bool ext) {
    AtaCommand& ata = plan->ata;
    ata.flags = ataflags::kDrdyRequired;
    if (plan->direction == CmdDirection::In) ata.flags |= ataflags::kDataIn;
    if (plan->direction == CmdDirection::Out) ata.flags |= ataflags::kDataOut;
    if (ext) ata.flags |= ataflags::k48Bit;
    if (plan->direction != CmdDirection::None && isDmaCommand(ata.command)) ata.flags |= ataflags::kDma;
}

// IDENTIFY and SMART keep the traditional A0h device byte; the LBA-mode
// commands (DATA SET MANAGEMENT, FLUSH CACHE EXT) set bit 6.
void setAtaShortcut(CmdPlan* plan, uint8_t command, uint16_t feature, uint64_t lba, CmdDirection direction, uint32_t bytes) {
    const bool lbaMode = command == ataop::kFlushCacheExt || command == ataop::kDataSetManagement;
    plan->ata = AtaCommand{};
    plan->ata.command = command;
    plan->ata.feature = feature;
    plan->ata.lba = lba;
    plan->ata.device = lbaMode ? 0x40 : 0xA0;
    plan->direction = direction;
    plan->dataLength = bytes;
    plan->ata.count = static_cast<uint16_t>(bytes / kAtaBlock);
    setAtaFlags(plan, lbaMode);
}

void setScsiShortcut(CmdPlan* plan, std::initializer_list<uint8_t> cdb, CmdDirection direction, uint32_t bytes) {
    plan->scsi = ScsiCommand{};
    plan->scsi.cdbLength = static_cast<uint8_t>(cdb.size());
    std::copy(cdb.begin(), cdb.end(), plan->scsi.cdb);
    plan->scsi.direction = direction == CmdDirection::In ? scsidir::kIn : scsidir::kUnspecified;
    plan->direction = direction;
    plan->dataLength = bytes;
}

void setNvmeRecord(CmdPlan* plan, const CmdTarget& target, uint8_t opcode, uint32_t nsid, bool admin) {
    plan->nvme = NvmeCommand{};
    plan->nvme.command[0] = opcode;
    plan->nvme.setDword(1, nsid);
    plan->nvme.admin = admin ? 1 : 0;
    plan->nvme.diskNumber = target.diskNumber;
    plan->nvme.direction = plan->direction == CmdDirection::In    ? nvmedir::kFromDevice
                           : plan->direction == CmdDirection::Out ? nvmedir::kToDevice
                                                                  : nvmedir::kNone;
}

void setNvmeRead(CmdPlan* plan, const CmdTarget& target, uint8_t opcode, uint32_t nsid, uint32_t cdw10, uint32_t bytes) {
    plan->direction = CmdDirection::In;
    plan->dataLength = bytes;
    setNvmeRecord(plan, target, opcode, nsid, true);
    plan->nvme.setDword(10, cdw10);
}

// NUMD (dwords less one) is split over CDW10 bits 31..16 and CDW11.
void setNvmeLogPage(CmdPlan* plan, const CmdTarget& target, uint8_t logId, uint32_t bytes) {
    const uint32_t numd = bytes / 4 - 1;
    setNvmeRead(plan, target, nvmeadmin::kGetLogPage, 0xFFFFFFFF, uint32_t{logId} | (numd & 0xFFFF) << 16, bytes);
    plan->nvme.setDword(11, numd >> 16);
}

}  // namespace cmdplan
}  // namespace zel
