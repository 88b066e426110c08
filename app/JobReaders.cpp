#include "app/JobReaders.h"

#include <cctype>

#include "app/OptionTable.h"
#include "core/NumberText.h"

namespace zel {
namespace {

Coverage readCoverage(OptionReader& reader) {
    Coverage coverage;
    std::string text = reader.text("size");
    const bool percent = !text.empty() && text.back() == '%';
    if (percent) text.pop_back();
    uint64_t value = 0;
    if (!readNumber(text, &value)) {  // a given value; the table's default reads
        reader.refuse("size");
        return coverage;
    }
    coverage.value = value;
    if (percent)
        coverage.unit = Coverage::Unit::Percent;
    else
        coverage.unit = std::isdigit(static_cast<unsigned char>(text.back())) ? Coverage::Unit::Sectors
                                                                              : Coverage::Unit::Bytes;
    return coverage;
}

// Marks each of cmd's own options named on the command line, under the
// table's name for it.
void readGivenCmdFields(const ParseResult& args, GivenCmdFields* given) {
    for (const std::string& name : optionsOfAction("cmd")) {
        const OptionRow& row = *findOption(name);
        if (row.cmdField && args.has(name)) given->add(*row.cmdField, row.name.c_str());
    }
}

}  // namespace

bool hasDiskOption(const ParseResult& args, bool acceptModel) {
    return args.has("diskid") || (acceptModel && args.has("diskmodel")) || args.has("disksn") ||
           args.has("diskpattern");
}

std::optional<OptionProblem> readRwJob(const ParseResult& args, uint64_t nowSeconds, RwJob* job) {
    OptionReader r(args);
    job->disk = r.diskSelector();
    job->mode = rwModeFromText(r.text("rw"));
    job->ioType = ioTypeFromText(r.text("iotype"));
    job->pattern = patternFromText(r.text("pattern"));
    job->startLba = r.number("start");
    job->size = readCoverage(r);
    job->blockBytes = static_cast<uint32_t>(r.number("bs", UINT32_MAX));
    job->metadata = r.text("metadata");
    job->totalLoops = static_cast<uint32_t>(r.number("totalloop", UINT32_MAX));
    job->totalSeconds = r.amount("totaltime");
    job->totalBytes = r.number("totalio");
    job->queueDepth = static_cast<uint32_t>(r.number("qd", UINT32_MAX));
    job->threadCount = r.flag("thread") ? 0 : 1;  // 0: one worker per processor
    job->requestTimeoutSeconds = r.amount("timeout");
    job->seed = r.given("seed") ? r.number("seed") : nowSeconds;
    job->dmaFua = r.flag("dma");
    job->alignBytes = static_cast<uint32_t>(r.number("align", UINT32_MAX));
    job->sectionSectors = r.number("section");
    job->gapSectors = r.number("gap");
    job->srcPath = r.text("src");
    job->destPath = r.text("dest");
    // rw writes its result files only when asked to
    job->outIni = r.textIfGiven("out-ini");
    job->outBin = r.textIfGiven("out-bin");
    job->inBin = r.text("in-bin");
    job->formatFirst = r.flag("formatd");
    job->cleanFirst = r.flag("cleand");
    job->includeData = r.flag("includedata");
    job->freeSpace = r.flag("freespace");
    return r.problem();
}

std::optional<OptionProblem> readWorkloadJob(const ParseResult& args, WorkloadJob* job) {
    OptionReader r(args);
    job->disk = r.diskSelector();
    job->path = r.text("path");
    job->analyzeOnly = r.flag("analyze");
    job->commfile = r.text("commfile");
    if (job->commfile.empty()) job->commfile = findOption("commfile")->defaultValue;
    return r.problem();
}

std::optional<OptionProblem> readSmartJob(const ParseResult& args, SmartJob* job) {
    OptionReader r(args);
    job->disk = r.diskSelector();
    job->logIds = r.numberList("lid", 0xFF);
    job->logPageSizes = r.numberList("lpsize");
    job->configPath = r.text("smart-config");
    job->outLog = r.text("out-log");
    job->outBins = r.list("out-bin");
    job->outIni = r.text("out-ini");
    job->outCsv = r.text("out-csv");
    job->previousBins = r.list("prev-smart-bin");
    job->initialBins = r.list("init-smart-bin");
    job->resultJson = r.text("commfile");
    return r.problem();
}

std::optional<OptionProblem> readPowerJob(const ParseResult& args, PowerJob* job) {
    OptionReader r(args);
    job->disk = r.diskSelector();
    job->controlName = r.text("pwrctrl");
    job->control = powerControlFromText(job->controlName);
    job->switchId = r.decimal("pwrid");
    job->switchModel = r.text("pwrmodel");
    job->switchType = r.text("pwrtype");
    job->voltageCondition = r.text("vol");
    job->offDelaySeconds = r.amount("pwroffdelay");
    job->offTimeoutSeconds = r.amount("pwroffto");
    job->onDelaySeconds = r.amount("pwrondelay");
    job->onTimeoutSeconds = r.amount("pwronto");
    job->sleepDelaySeconds = static_cast<double>(r.number("sleepdelay", UINT32_MAX));
    job->commandDelaySeconds = r.amount("pwrcmddelay");
    job->shortCycles = static_cast<uint32_t>(r.number("shortcycle", UINT32_MAX));
    job->shortCycleIntervalMs = static_cast<uint32_t>(r.number("shortcycleintv", UINT32_MAX));
    job->retryCount = static_cast<uint32_t>(r.number("pwrcycle-retrycnt", UINT32_MAX));
    job->checkHmb = r.flag("chk-hmb");
    job->smartConfig = r.textIfGiven("smart-config");  // a SMART check only when asked for
    job->outIni = r.text("out-ini");
    return r.problem();
}

std::optional<OptionProblem> readCmdJob(const ParseResult& args, CmdJob* job) {
    OptionReader r(args);
    job->disk = r.diskSelector();
    job->protocol = cmdProtocolFromText(r.text("protocol"));
    job->direction = cmdDirectionFromText(r.text("io"));
    job->timeoutSeconds = r.amount("timeout");
    job->dataHex = r.text("data");
    job->dataLength = static_cast<uint32_t>(r.number("datalen", UINT32_MAX));
    job->feature = static_cast<uint16_t>(r.number("feature", UINT16_MAX));
    job->lba = r.number("lba");
    job->device = static_cast<uint8_t>(r.number("device", UINT8_MAX));
    job->command = static_cast<uint8_t>(r.number("command", UINT8_MAX));
    job->expectStatus = r.given("status");
    job->expectedStatus = static_cast<uint8_t>(r.number("status", UINT8_MAX));
    job->ata48 = r.flag("48bit");
    job->cdbHex = r.text("cdb");
    job->opcode = static_cast<uint8_t>(r.number("opc", UINT8_MAX));
    job->nsid = static_cast<uint32_t>(r.number("ns", UINT32_MAX));
    const char* dwords[] = {"cdw10", "cdw11", "cdw12", "cdw13", "cdw14", "cdw15"};
    for (size_t i = 0; i < job->cdw10to15.size(); ++i)
        job->cdw10to15[i] = static_cast<uint32_t>(r.number(dwords[i], UINT32_MAX));
    job->queue = cmdQueueFromText(r.text("queue"));
    job->trim = r.flag("trim");
    job->flush = r.flag("flush");
    job->identify = r.flag("identify");
    if (r.given("dumptype")) job->dumpType = dumpTypeFromText(r.text("dumptype"));
    job->dumpBytes = static_cast<uint32_t>(r.number("dumpsize", UINT32_MAX));
    job->logId = static_cast<uint32_t>(r.number("lid", UINT8_MAX));
    job->logPageBytes = static_cast<uint32_t>(r.number("lpsize", UINT32_MAX));
    job->dumpPath = r.text("dump");
    job->inBin = r.text("in-bin");
    job->outBin = r.text("out-bin");
    job->outIni = r.text("out-ini");
    readGivenCmdFields(args, &job->given);
    return r.problem();
}

}  // namespace zel
