#include "io/CmdRun.h"

#include <algorithm>
#include <ctime>

#include "core/BinaryFile.h"
#include "core/DriveOpener.h"
#include "core/IniFile.h"
#include "core/Logger.h"
#include "core/Paths.h"
#include "disk/DiskBase.h"
#include "disk/DiskTypes.h"
#include "io/CmdAnswer.h"
#include "io/CmdTranslate.h"
#include "io/DiskIo.h"
#include "io/Pattern.h"
#include "protocol/AtaProtocolOverAta.h"
#include "protocol/NvmeProtocolOverJMicron.h"
#include "protocol/ProtocolRegistry.h"
#include "protocol/ScsiProtocol.h"

namespace zel {
namespace {

ErrorCode fail(ErrorCode code, const std::string& line) {
    if (!line.empty()) logWarning("%s", line.c_str());
    setLastError(code);
    return code;
}

bool loadInBin(const CmdJob& job, std::vector<uint8_t>* bytes) {
    if (job.inBin.empty()) return true;
    auto file = readBinaryFile(resolveOutputPath(job.inBin));
    if (!file) return false;
    *bytes = std::move(*file);
    return true;
}

bool saveData(const std::string& path, const uint8_t* data, size_t size) {
    return path.empty() || writeBinaryFile(resolveOutputPath(path), data, size);
}

// A route that failed without a code of its own still fails the run.
ErrorCode routeError(const CmdPlan& plan) {
    if (lastError()) return lastError();
    if (plan.family == CmdFamily::Nvme) return err::kNvmeFailed;
    return plan.family == CmdFamily::Ata && plan.route == ProtocolCode::kAtaOverAta ? err::kAtaErrorStatus
                                                                                     : err::kScsiStatus;
}

bool sendScsi(CmdPlan& plan, const DiskBase& disk, uint8_t* buffer, CmdAnswer* answer) {
    SharedHandle drive = openPhysicalDrive(static_cast<uint32_t>(disk.number()), FILE_FLAG_NO_BUFFERING);
    if (!drive) return takeSystemLastError(), false;
    uint32_t transferred = 0;
    const bool ok = ScsiProtocol().sendCommand(drive.get(), buffer, plan.dataLength, plan.scsi, answer->sense, &transferred);
    answer->transferred = transferred;
    return ok;
}

// The ATA port route, opened as the route opens it, so that the moved length comes back too.
bool sendAtaPort(CmdPlan& plan, const DiskBase& disk, uint8_t* buffer, CmdAnswer* answer) {
    SharedHandle drive = openPhysicalDrive(static_cast<uint32_t>(disk.number()), FILE_ATTRIBUTE_NORMAL);
    if (!drive) return takeSystemLastError(), false;
    uint32_t transferred = 0;
    const bool ok = AtaProtocolOverAta().sendCommand(drive.get(), buffer, plan.dataLength, plan.ata, &transferred);
    answer->transferred = transferred;
    return ok;
}

void send(CmdPlan& plan, const DiskBase& disk, uint8_t* buffer, CmdAnswer* answer) {
    setLastError(0);
    if (plan.family == CmdFamily::Scsi) {
        answer->routeOk = sendScsi(plan, disk, buffer, answer);
    } else if (plan.family == CmdFamily::Ata && plan.route == ProtocolCode::kAtaOverAta) {
        answer->routeOk = sendAtaPort(plan, disk, buffer, answer);
    } else if (plan.viaTunnel) {
        answer->routeOk = NvmeProtocolOverJMicron().sendCommand(static_cast<uint32_t>(disk.number()), buffer,
                                                                plan.dataLength, &plan.nvme);
    } else {
        void* record = plan.family == CmdFamily::Ata ? static_cast<void*>(&plan.ata) : static_cast<void*>(&plan.nvme);
        answer->routeOk = createProtocol(plan.route)->sendCommand(static_cast<uint32_t>(disk.number()), buffer,
                                                                  plan.dataLength, record);
    }
    if (!answer->routeOk) answer->routeError = routeError(plan);
}

// Sends the plan's record; data that came back goes to the result file.
void runSend(CmdPlan& plan, const DiskBase& disk, CmdAnswer* answer, AlignedBuffer* buffer) {
    *buffer = AlignedBuffer(std::max<size_t>(plan.dataLength, 1));
    std::fill(buffer->data(), buffer->data() + buffer->size(), 0);
    std::copy(plan.dataOut.begin(), plan.dataOut.end(), buffer->data());
    send(plan, disk, plan.dataLength ? buffer->data() : nullptr, answer);
}

void runHost(const CmdPlan& plan, const DiskBase& disk, CmdAnswer* answer, AlignedBuffer* buffer) {
    DiskIo io(disk);
    setLastError(0);
    bool ok = io.open(openflag::kNoBuffering);
    if (ok && plan.step == CmdStep::HostTrim) ok = io.trim({plan.range});
    if (ok && plan.step == CmdStep::HostFlush) ok = io.flush();
    if (ok && plan.step == CmdStep::ReadLba) {
        *buffer = AlignedBuffer(plan.dumpBytes);
        ok = io.transfer(false, plan.range, buffer->data());
    }
    answer->routeOk = ok;
    if (!ok) answer->routeError = lastError();
}

void runGenerate(const CmdPlan& plan, CmdAnswer* answer, AlignedBuffer* buffer) {
    *buffer = AlignedBuffer(plan.dumpBytes);
    std::fill(buffer->data(), buffer->data() + buffer->size(), 0);
    if (plan.dumpType == DumpType::Rand) {
        answer->seed = static_cast<uint64_t>(std::time(nullptr));
        Sfc64 generator(answer->seed);
        fillRandom(generator, buffer->data(), buffer->size(), 0);
    }
    answer->routeOk = true;
}

// Where data came back (or was made), the bytes that go to the file.
size_t dataBytes(const CmdPlan& plan, const CmdAnswer& answer) {
    if (!answer.routeOk) return 0;
    if (plan.step == CmdStep::Generate || plan.step == CmdStep::ReadLba) return plan.dumpBytes;
    return plan.step == CmdStep::Send && plan.direction == CmdDirection::In ? bytesMoved(plan, answer) : 0;
}

CmdProblem checkData(const CmdPlan& plan, const CmdAnswer& answer, const AlignedBuffer& buffer) {
    CmdProblem verdict = judgeAnswer(plan, answer);
    if (verdict.code != 0 && plan.failureCode) {
        if (!verdict.line.empty()) logWarning("%s", verdict.line.c_str());
        return {plan.failureCode, "[ActionCommand] " + plan.label + " failed " + errorText(verdict.code)};
    }
    if (verdict.code != 0 || !plan.mustDiffer) return verdict;
    if (std::equal(plan.mustDiffer->begin(), plan.mustDiffer->end(), buffer.data()))
        return {err::kMustNotMatch, "[ActionCommand] The data read equals --in-bin"};
    return verdict;
}

void writeIni(const CmdJob& job, const CmdPlan& plan, const CmdAnswer& answer, ErrorCode code) {
    IniFile ini(resolveOutputPath(job.outIni));
    for (const auto& [key, value] : answerKeys(plan, answer, code)) ini.writeText("cmd", key, value);
}

// Where the record goes when the caller wants none.
CmdRunRecord& recordOrScratch(CmdRunRecord* record) {
    static thread_local CmdRunRecord scratch;
    return record ? *record : scratch;
}

ErrorCode finishRecord(CmdRunRecord& record, ErrorCode code, const std::string& line) {
    record.result = code;
    record.problem = line;
    return code ? fail(code, line) : 0;
}

}  // namespace

ErrorCode runCmd(const CmdJob& job, DiskBase& disk, CmdRunRecord* recordOut) {
    CmdRunRecord& record = recordOrScratch(recordOut);
    std::vector<uint8_t> inBin;
    if (!loadInBin(job, &inBin))
        return finishRecord(record, err::kWrongArguments, "[ActionCommand] Cannot read --in-bin " + job.inBin);
    const CmdTarget target{static_cast<ProtocolCode>(disk.protocolType()), static_cast<uint32_t>(disk.number()),
                           disk.logicalSectorSize() ? disk.logicalSectorSize() : 512, disk.sectorCount(),
                           disk.diskKind() == diskkind::kJMicronNvme, disk.isOsDrive()};
    CmdPlan plan;
    if (auto problem = translateCmd(job, target, inBin, &plan))
        return finishRecord(record, problem->code, problem->line);
    record.planned = true;
    record.request = requestFields(plan);

    logDebug("%s", requestLine(plan).c_str());
    CmdAnswer answer;
    AlignedBuffer buffer;
    if (plan.step == CmdStep::Send) runSend(plan, disk, &answer, &buffer);
    else if (plan.step == CmdStep::Generate) runGenerate(plan, &answer, &buffer);
    else runHost(plan, disk, &answer, &buffer);
    logDebug("%s", answerLine(plan, answer).c_str());

    CmdProblem verdict = checkData(plan, answer, buffer);
    const size_t bytes = dataBytes(plan, answer);
    if (bytes && !saveData(plan.dataPath, buffer.data(), bytes) && verdict.code == 0)
        verdict = {ERROR_CANNOT_MAKE, "[ActionCommand] Cannot write the data to " + plan.dataPath};
    writeIni(job, plan, answer, verdict.code);
    record.sent = true;
    record.answer = answerKeys(plan, answer, verdict.code);
    return finishRecord(record, verdict.code, verdict.line);
}

}  // namespace zel
