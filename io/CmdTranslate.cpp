#include "io/CmdTranslate.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "io/CmdMediaChange.h"
#include "io/CmdPlanParts.h"
#include "protocol/JMicronTunnel.h"

namespace zel {
namespace {

using namespace cmdplan;

// ---- route -----------------------------------------------------------

// NVMe through the bridge's tunnel when asked for; the NVMe-only dumps take
// it by themselves, since the disk's own SCSI route cannot make them.
bool takesTunnel(CmdProtocol asked, const CmdTarget& target, const CmdPlan& plan) {
    if (!target.nvmeTunnel) return false;
    if (asked == CmdProtocol::Nvme) return true;
    return asked == CmdProtocol::DiskOwn &&
           (plan.dumpType == DumpType::LogPage || plan.dumpType == DumpType::IdentifyNs);
}

CmdFamily familyAsked(CmdProtocol asked) {
    return asked == CmdProtocol::Ata ? CmdFamily::Ata : asked == CmdProtocol::Scsi ? CmdFamily::Scsi : CmdFamily::Nvme;
}

Result resolveRoute(const CmdJob& job, const CmdTarget& target, CmdPlan* plan) {
    if (job.protocol.unknownText)
        return refuse(err::kWrongArguments, "--protocol must be ata, scsi or nvme: \"%s\"",
                      job.protocol.unknownText->c_str());
    const CmdProtocol asked = job.protocol.value;
    if (takesTunnel(asked, target, *plan)) {
        plan->family = CmdFamily::Nvme;
        plan->route = ProtocolCode::kScsi;
        plan->viaTunnel = true;
        return {};
    }
    if (asked == CmdProtocol::Scsi) {
        plan->family = CmdFamily::Scsi;
        plan->route = ProtocolCode::kScsi;
        return {};
    }
    const std::optional<CmdFamily> own = familyOfRoute(target.diskCode);
    if (!own)
        return refuse(err::kProtocolNotImplemented, "Disk %u has no command route; --protocol scsi reaches any disk",
                      target.diskNumber);
    if (asked != CmdProtocol::DiskOwn && familyAsked(asked) != *own)
        return refuse(err::kFunctionNotSupported, "Disk %u takes %s commands, not %s", target.diskNumber,
                      familyName(*own), familyName(familyAsked(asked)));
    plan->family = *own;
    plan->route = target.diskCode;
    return {};
}

// ---- which options a run may carry ----------------------------------------

enum class Mode { Command, Identify, Trim, Flush, Dump };

const char* modeName(Mode mode) {
    switch (mode) {
        case Mode::Identify: return "--identify";
        case Mode::Trim: return "--trim";
        case Mode::Flush: return "--flush";
        case Mode::Dump: return "a dump";
        case Mode::Command: break;
    }
    return "a command";
}

using F = CmdField;

std::vector<CmdField> allowedFields(Mode mode, CmdFamily family, DumpType dump) {
    std::vector<CmdField> allowed{F::Protocol, F::Timeout, F::OutIni, F::OutBin};
    auto add = [&](std::initializer_list<CmdField> fields) { allowed.insert(allowed.end(), fields.begin(), fields.end()); };
    switch (mode) {
        case Mode::Command:
            add({F::Io, F::Data, F::DataLen, F::InBin});
            if (family == CmdFamily::Ata) add({F::Feature, F::Lba, F::Device, F::Command, F::Status, F::Ata48});
            if (family == CmdFamily::Scsi) add({F::Cdb});
            if (family == CmdFamily::Nvme) add({F::Opc, F::Ns, F::Cdw10, F::Cdw11, F::Cdw12, F::Cdw13, F::Cdw14, F::Cdw15, F::Queue});
            break;
        case Mode::Identify: add({F::Identify}); break;
        case Mode::Flush: add({F::Flush, F::Ns}); break;
        case Mode::Trim: add({F::Trim, F::Lba, F::DataLen, F::Ns}); break;
        case Mode::Dump:
            add({F::Dump, F::DumpType});
            if (dump == DumpType::Zero || dump == DumpType::Rand) add({F::DumpSize});
            if (dump == DumpType::Lba) add({F::DumpSize, F::Lba});
            if (dump == DumpType::LogPage) add({F::Lid, F::LpSize});
            if (dump == DumpType::IdentifyNs) add({F::Ns});
            break;
    }
    return allowed;
}

// Of several options that do not apply, the first by name is refused.
Result refuseStrayOptions(const CmdJob& job, Mode mode, CmdFamily family, DumpType dump) {
    const std::vector<CmdField> allowed = allowedFields(mode, family, dump);
    const char* stray = nullptr;
    for (size_t i = 0; i < static_cast<size_t>(F::Count); ++i) {
        const CmdField field = static_cast<CmdField>(i);
        if (!job.has(field) || std::find(allowed.begin(), allowed.end(), field) != allowed.end()) continue;
        if (!stray || std::strcmp(job.given.name(field), stray) < 0) stray = job.given.name(field);
    }
    if (stray)
        return refuse(err::kWrongArguments, "--%s does not apply to %s (%s)", stray, modeName(mode), familyName(family));
    return {};
}

Result chooseMode(const CmdJob& job, Mode* mode) {
    const bool dump = job.has(F::Dump) || job.has(F::DumpType);
    const int count = int(job.identify) + int(job.trim) + int(job.flush) + int(dump);
    if (count > 1) return refuse(err::kWrongArguments, "--identify, --trim, --flush and a dump are separate runs; give one");
    *mode = job.identify ? Mode::Identify : job.trim ? Mode::Trim : job.flush ? Mode::Flush : dump ? Mode::Dump : Mode::Command;
    return {};
}

Result readDumpType(const CmdJob& job, DumpType* type) {
    if (!job.has(F::DumpType)) return missing("dumptype");
    if (job.dumpType.unknownText)
        return refuse(err::kWrongArguments, "--dumptype must be zero, rand, lba, identify, smart, logpage or identifyns: \"%s\"",
                      job.dumpType.unknownText->c_str());
    *type = job.dumpType.value;
    return {};
}

Result readTimeout(const CmdJob& job, uint32_t* seconds) {
    const double rounded = std::ceil(job.timeoutSeconds);
    if (!(rounded <= double(UINT32_MAX)))
        return refuse(err::kWrongArguments, "--timeout %.0f s is more than a command can wait", job.timeoutSeconds);
    *seconds = static_cast<uint32_t>(rounded);
    return {};
}

// ---- data ------------------------------------------------------------------

Result readDirection(const CmdJob& job, CmdDirection* direction) {
    if (job.direction.unknownText)
        return refuse(err::kWrongArguments, "--io must be in, out or none: \"%s\"", job.direction.unknownText->c_str());
    *direction = job.direction.value;
    return {};
}

Result readDataOut(const CmdJob& job, const std::vector<uint8_t>& inBin, ErrorCode sizeCode, CmdPlan* plan) {
    if (job.has(F::Data) && job.has(F::InBin))
        return refuse(err::kWrongArguments, "--data and --in-bin both give the data out; give one");
    if (job.has(F::Data)) {
        if (!parseHexBytes(job.dataHex, &plan->dataOut))
            return refuse(err::kWrongArguments, "--data is not hex bytes: \"%s\"", job.dataHex.c_str());
    } else if (job.has(F::InBin)) {
        plan->dataOut = inBin;
    } else {
        return refuse(err::kWrongArguments, "--io out needs the data: --data or --in-bin");
    }
    if (plan->dataOut.empty()) return refuse(sizeCode, "--io out with no data");
    if (plan->dataOut.size() > UINT32_MAX) return refuse(sizeCode, "%zu bytes of data are more than one command moves", plan->dataOut.size());
    if (job.has(F::DataLen) && job.dataLength != plan->dataOut.size())
        return refuse(sizeCode, "--datalen %u does not match the %zu bytes of data", job.dataLength, plan->dataOut.size());
    plan->dataLength = static_cast<uint32_t>(plan->dataOut.size());
    return {};
}

Result readDataIn(const CmdJob& job, const std::vector<uint8_t>& inBin, ErrorCode sizeCode, CmdPlan* plan) {
    if (job.has(F::Data)) return refuse(err::kWrongArguments, "--data is data out; --io in takes --datalen");
    plan->dataLength = job.has(F::DataLen) ? job.dataLength : static_cast<uint32_t>(std::min<size_t>(inBin.size(), UINT32_MAX));
    if (plan->dataLength == 0) return refuse(sizeCode, "--io in needs --datalen, the number of bytes to read");
    if (job.has(F::InBin)) {
        if (inBin.size() != plan->dataLength)
            return refuse(sizeCode, "--in-bin holds %zu bytes, not the %u of --datalen", inBin.size(), plan->dataLength);
        plan->mustDiffer = inBin;
    }
    return {};
}

Result readData(const CmdJob& job, const std::vector<uint8_t>& inBin, ErrorCode sizeCode, CmdPlan* plan) {
    if (auto p = readDirection(job, &plan->direction)) return p;
    if (plan->direction == CmdDirection::Out) return readDataOut(job, inBin, sizeCode, plan);
    if (plan->direction == CmdDirection::In) return readDataIn(job, inBin, sizeCode, plan);
    if (job.has(F::Data) || job.has(F::InBin) || job.dataLength != 0)
        return refuse(sizeCode, "--io none moves no data; --data, --datalen and --in-bin need --io in or out");
    return {};
}

// ---- ATA -------------------------------------------------------------------

// READ/WRITE SECTORS and DMA count logical sectors; every other data command
// counts 512-byte blocks.
bool countsLogicalSectors(uint8_t command) {
    static const uint8_t kCommands[] = {ataop::kReadSectors,    ataop::kReadSectorsExt,   ataop::kReadDmaExt,
                                        ataop::kReadMultipleExt, ataop::kWriteSectors,     ataop::kWriteSectorsExt,
                                        ataop::kWriteDmaExt,     ataop::kWriteMultipleExt, ataop::kWriteDmaFuaExt,
                                        ataop::kReadMultiple,    ataop::kWriteMultiple,    ataop::kReadDma,
                                        ataop::kWriteDma};
    for (uint8_t c : kCommands) if (c == command) return true;
    return false;
}

Result checkAtaInputs(const AtaCommand& ata, bool ext) {
    if (ext) {
        if (ata.lba > kLba48Max) return refuse(err::kAtaInputsSize, "--lba 0x%llX is more than 48 bits", static_cast<unsigned long long>(ata.lba));
        return {};
    }
    if (ata.lba > kLba28Max)
        return refuse(err::kAtaInputsSize, "--lba 0x%llX needs --48bit: a 28-bit command carries LBA bits 27..0",
                      static_cast<unsigned long long>(ata.lba));
    if (ata.feature > 0xFF)
        return refuse(err::kAtaInputsSize, "--feature 0x%X needs --48bit: a 28-bit command carries 8 feature bits", ata.feature);
    const unsigned lowNibble = ata.device & 0x0F;
    if (lowNibble != 0 && lowNibble != ((ata.lba >> 24) & 0x0F))
        return refuse(err::kAtaInputsSize, "--device 0x%02X: its low four bits carry LBA bits 27..24 in a 28-bit command; give them in --lba",
                      ata.device);
    return {};
}

Result setAtaCount(CmdPlan* plan, const CmdTarget& target, bool ext) {
    AtaCommand& ata = plan->ata;
    const uint32_t block = countsLogicalSectors(ata.command) ? target.sectorSize : kAtaBlock;
    if (plan->dataLength % block != 0)
        return refuse(err::kAtaDataSize, "%u bytes are not a whole number of %u-byte blocks", plan->dataLength, block);
    const uint32_t blocks = plan->dataLength / block;
    const uint32_t most = ext ? 65536 : 256;
    if (blocks > most)
        return refuse(err::kAtaDataSize, "%u bytes are %u blocks, more than the %u a %s command moves", plan->dataLength,
                      blocks, most, ext ? "48-bit" : "28-bit");
    ata.count = static_cast<uint16_t>(blocks == most ? 0 : blocks);  // 0 means the most
    return {};
}

Result translateAtaCommand(const CmdJob& job, const CmdTarget& target, const std::vector<uint8_t>& inBin, CmdPlan* plan) {
    if (!job.has(F::Command)) return missing("command");
    if (auto p = readData(job, inBin, err::kAtaDataSize, plan)) return p;
    AtaCommand& ata = plan->ata;
    ata.feature = job.feature;
    ata.lba = job.lba;
    ata.device = job.device;
    ata.command = job.command;
    if (auto p = checkAtaInputs(ata, job.ata48)) return p;
    if (auto p = setAtaCount(plan, target, job.ata48)) return p;
    setAtaFlags(plan, job.ata48);
    plan->expectStatus = job.expectStatus;
    plan->expectedStatus = job.expectedStatus;
    return {};
}

// ---- SCSI ------------------------------------------------------------------

// The CDB length each operation-code group has; 0: any (vendor, variable).
size_t cdbLengthOfGroup(uint8_t opcode) {
    static const size_t kLengths[8] = {6, 10, 10, 0, 16, 12, 0, 0};
    return kLengths[opcode >> 5];
}

Result translateScsiCommand(const CmdJob& job, const std::vector<uint8_t>& inBin, CmdPlan* plan) {
    if (!job.has(F::Cdb)) return missing("cdb");
    std::vector<uint8_t> cdb;
    if (!parseHexBytes(job.cdbHex, &cdb)) return refuse(err::kWrongArguments, "--cdb is not hex bytes: \"%s\"", job.cdbHex.c_str());
    if (cdb.size() != 6 && cdb.size() != 10 && cdb.size() != 12 && cdb.size() != 16)
        return refuse(err::kWrongArguments, "--cdb has %zu bytes; a CDB has 6, 10, 12 or 16", cdb.size());
    const size_t groupLength = cdbLengthOfGroup(cdb[0]);
    if (groupLength != 0 && groupLength != cdb.size())
        return refuse(err::kWrongArguments, "--cdb operation code %02Xh takes a %zu-byte CDB, not %zu", cdb[0], groupLength, cdb.size());
    if (auto p = readData(job, inBin, err::kWrongArguments, plan)) return p;
    plan->scsi.cdbLength = static_cast<uint8_t>(cdb.size());
    std::memcpy(plan->scsi.cdb, cdb.data(), cdb.size());
    plan->scsi.direction = plan->direction == CmdDirection::In    ? scsidir::kIn
                           : plan->direction == CmdDirection::Out ? scsidir::kOut
                                                                  : scsidir::kUnspecified;
    return {};
}

// ---- NVMe ------------------------------------------------------------------

bool isStandardOpcode(const CmdPlan& plan) {
    return plan.nvme.opcode() < (plan.nvme.admin ? nvmeadmin::kFirstVendor : nvmeio::kFirstVendor);
}

// Bits 1..0 of a standard opcode name the direction its data may take; a
// command may move less, down to none (Get Features without a buffer).
Result checkOpcodeDirection(const CmdPlan& plan) {
    if (!isStandardOpcode(plan) || plan.direction == CmdDirection::None) return {};
    const unsigned bits = plan.nvme.opcode() & 3;
    if (bits == 3)
        return refuse(err::kNvmeNotSupported, "opcode %02Xh moves data both ways; no route carries that", plan.nvme.opcode());
    const CmdDirection allowed = bits == 1 ? CmdDirection::Out : bits == 2 ? CmdDirection::In : CmdDirection::None;
    static const char* const kNames[] = {"none", "in", "out"};
    if (plan.direction != allowed)
        return refuse(err::kWrongArguments, "opcode %02Xh moves data %s (bits 1..0 = %u); --io %s does not fit",
                      plan.nvme.opcode(), kNames[int(allowed)], bits, kNames[int(plan.direction)]);
    return {};
}

// The inbox driver carries Identify, Get Log Page and Get Features as
// storage queries (CDW10 and NSID only) and vendor admin opcodes as a
// protocol command whose data-out lands over its own head.
Result checkStornvmeRoute(const CmdPlan& plan) {
    const uint8_t opc = plan.nvme.opcode();
    if (!plan.nvme.admin) return refuse(err::kNvmeNotSupported, "The inbox NVMe driver's route sends admin commands only");
    if (opc >= nvmeadmin::kFirstVendor) {
        if (plan.direction == CmdDirection::Out)
            return refuse(err::kNvmeNotSupported, "The inbox NVMe driver's route cannot send data with vendor opcode %02Xh", opc);
        return {};
    }
    if (opc != nvmeadmin::kGetLogPage && opc != nvmeadmin::kIdentify && opc != nvmeadmin::kGetFeatures)
        return refuse(err::kNvmeNotSupported, "The inbox NVMe driver's route sends opcodes 02h, 06h, 0Ah and C0h and above, not %02Xh", opc);
    for (unsigned dw = 11; dw <= 15; ++dw)
        if (plan.nvme.dword(dw) != 0)
            return refuse(err::kNvmeDwordsNotSupported, "The inbox NVMe driver's route carries no CDW%u for opcode %02Xh: 0x%X", dw,
                          opc, plan.nvme.dword(dw));
    const uint32_t cns = plan.nvme.dword(10) & 0xFF;
    if (opc == nvmeadmin::kIdentify && cns != (plan.nvme.nsid() == 0 ? 1u : 0u))
        return refuse(err::kNvmeNotSupported, "The inbox NVMe driver's route identifies the controller (CNS 1, NSID 0) or a namespace (CNS 0), not CNS %u with NSID %u",
                      cns, plan.nvme.nsid());
    return {};
}

// One tunnel command moves what one transfer of the bridge holds; longer
// pages are the smart action's, which reads them in pieces.
Result checkTunnelLimits(const CmdPlan& plan) {
    if (!plan.viaTunnel || plan.step != CmdStep::Send || plan.dataLength <= kJMicronMaxTransfer) return {};
    return refuse(err::kNvmeNotSupported, "The JMicron bridge's tunnel moves at most %u bytes per command, not %u",
                  kJMicronMaxTransfer, plan.dataLength);
}

// The OS drive's refusal comes before the routes' own limits, so that a
// script learns the one reason that holds on every route.
Result refuseOnOsDrive(const CmdPlan& plan, const CmdTarget& target) {
    if (!target.osDrive) return {};
    const MediaEffect effect = planMediaEffect(plan, target.nvmeTunnel);
    if (!effect.changes) return {};
    return refuse(err::kOsDrive, "Disk %u is the OS drive; not sent: %s", target.diskNumber, effect.what.c_str());
}

Result checkRouteLimits(const CmdPlan& plan, Mode mode) {
    if (mode == Mode::Command && plan.family == CmdFamily::Nvme && plan.route == ProtocolCode::kNvmeByStornvme)
        return checkStornvmeRoute(plan);
    return checkTunnelLimits(plan);
}

Result translateNvmeCommand(const CmdJob& job, const CmdTarget& target, const std::vector<uint8_t>& inBin, CmdPlan* plan) {
    if (!job.has(F::Opc)) return missing("opc");
    if (job.queue.unknownText)
        return refuse(err::kWrongArguments, "--queue must be admin or io: \"%s\"", job.queue.unknownText->c_str());
    if (auto p = readData(job, inBin, err::kWrongArguments, plan)) return p;
    setNvmeRecord(plan, target, job.opcode, job.nsid, job.queue.value == CmdQueue::Admin);
    for (unsigned i = 0; i < job.cdw10to15.size(); ++i) plan->nvme.setDword(10 + i, job.cdw10to15[i]);
    return checkOpcodeDirection(*plan);
}

Result planCommand(const CmdJob& job, const CmdTarget& target, const std::vector<uint8_t>& inBin, CmdPlan* plan) {
    plan->label = "command";
    if (plan->family == CmdFamily::Ata) return translateAtaCommand(job, target, inBin, plan);
    if (plan->family == CmdFamily::Scsi) return translateScsiCommand(job, inBin, plan);
    return translateNvmeCommand(job, target, inBin, plan);
}

Result planMode(Mode mode, const CmdJob& job, const CmdTarget& target, const std::vector<uint8_t>& inBin, CmdPlan* plan) {
    switch (mode) {
        case Mode::Identify: planIdentify(plan, target); return {};
        case Mode::Flush: planFlush(job, target, plan); return {};
        case Mode::Trim: return planTrim(job, target, plan);
        case Mode::Dump: return planDump(job, target, plan);
        case Mode::Command: break;
    }
    return planCommand(job, target, inBin, plan);
}

void applyTimeout(CmdPlan* plan, uint32_t seconds) {
    plan->ata.timeout = seconds;
    plan->scsi.timeout = seconds;
    plan->nvme.timeout = seconds;
}

}  // namespace

std::optional<CmdFamily> familyOfRoute(ProtocolCode code) {
    switch (code) {
        case ProtocolCode::kAtaOverAta:
        case ProtocolCode::kAtaOverUsb: return CmdFamily::Ata;
        case ProtocolCode::kScsi: return CmdFamily::Scsi;
        case ProtocolCode::kNvmeByStornvme:
        case ProtocolCode::kNvmeByScsiMiniport:
        case ProtocolCode::kNvmeByIrst: return CmdFamily::Nvme;
        case ProtocolCode::kNone: break;
    }
    return std::nullopt;
}

const char* familyName(CmdFamily family) {
    switch (family) {
        case CmdFamily::Ata: return "ata";
        case CmdFamily::Scsi: return "scsi";
        case CmdFamily::Nvme: return "nvme";
    }
    return "";
}

bool parseHexBytes(const std::string& text, std::vector<uint8_t>* bytes) {
    bytes->clear();
    int high = -1;
    for (char c : text) {
        if (c == ' ' || c == '\t') {
            if (high >= 0) return false;  // a blank splits a byte
            continue;
        }
        const int digit = (c >= '0' && c <= '9') ? c - '0'
                          : (c >= 'a' && c <= 'f') ? c - 'a' + 10
                          : (c >= 'A' && c <= 'F') ? c - 'A' + 10
                                                   : -1;
        if (digit < 0) return false;
        if (high < 0) {
            high = digit;
        } else {
            bytes->push_back(static_cast<uint8_t>(high << 4 | digit));
            high = -1;
        }
    }
    return high < 0 && !bytes->empty();
}

std::optional<CmdProblem> translateCmd(const CmdJob& job, const CmdTarget& target, const std::vector<uint8_t>& inBin,
                                       CmdPlan* plan) {
    *plan = CmdPlan{};
    plan->dataPath = job.outBin;
    Mode mode = Mode::Command;
    uint32_t timeout = 0;
    if (auto p = chooseMode(job, &mode)) return p;
    if (mode == Mode::Dump)
        if (auto p = readDumpType(job, &plan->dumpType)) return p;
    // zero, rand and lba dumps need the disk, not its command route
    const bool needsRoute = !(plan->dumpType == DumpType::Zero || plan->dumpType == DumpType::Rand ||
                              plan->dumpType == DumpType::Lba);
    if (auto p = resolveRoute(job, target, plan))
        if (needsRoute || p->code == err::kWrongArguments) return p;
    if (auto p = refuseStrayOptions(job, mode, plan->family, plan->dumpType)) return p;
    if (auto p = readTimeout(job, &timeout)) return p;
    if (auto p = planMode(mode, job, target, inBin, plan)) return p;
    if (auto p = refuseOnOsDrive(*plan, target)) return p;
    if (auto p = checkRouteLimits(*plan, mode)) return p;
    applyTimeout(plan, timeout);
    return {};
}

}  // namespace zel
