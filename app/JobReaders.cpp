#include "app/JobReaders.h"

#include <cctype>

#include "core/NumberText.h"

namespace zel {
namespace {

Coverage readCoverage(OptionReader& reader, const ParseResult& args) {
    Coverage coverage;
    if (!args.has("size")) return coverage;
    std::string text = args.text("size");
    const bool percent = !text.empty() && text.back() == '%';
    if (percent) text.pop_back();
    uint64_t value = 0;
    if (!readNumber(text, &value)) {
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

const char* const kCmdOptions[] = {"protocol", "io",    "timeout", "data",     "datalen",  "feature", "lba",
                                   "device",   "command", "status", "48bit", "cdb",     "opc",   "ns",
                                   "cdw10",    "cdw11", "cdw12",   "cdw13",    "cdw14",    "cdw15",   "queue",
                                   "trim",     "flush", "identify", "dumptype", "dumpsize", "lid",     "lpsize",
                                   "dump",     "in-bin", "out-bin", "out-ini"};

}  // namespace

bool hasDiskOption(const ParseResult& args, bool acceptModel) {
    return args.has("diskid") || (acceptModel && args.has("diskmodel")) || args.has("disksn") ||
           args.has("diskpattern");
}

std::optional<OptionProblem> readRwJob(const ParseResult& args, uint64_t nowSeconds, RwJob* job) {
    OptionReader r(args);
    job->disk = r.diskSelector();
    job->mode = rwModeFromText(r.text("rw"));
    job->ioType = ioTypeFromText(r.text("iotype", "lba"));
    job->pattern = patternFromText(r.text("pattern", "fixed"));
    job->startLba = r.number("start", 0);
    job->size = readCoverage(r, args);
    job->blockBytes = static_cast<uint32_t>(r.number("bs", 131072, UINT32_MAX));
    job->metadata = r.text("metadata");
    job->totalLoops = static_cast<uint32_t>(r.number("totalloop", 0, UINT32_MAX));
    job->totalSeconds = r.amount("totaltime", 0);
    job->totalBytes = r.number("totalio", 0);
    job->queueDepth = static_cast<uint32_t>(r.number("qd", 1, UINT32_MAX));
    job->threadCount = r.flag("thread") ? 0 : 1;
    job->requestTimeoutSeconds = r.amount("timeout", 0);
    job->seed = r.number("seed", nowSeconds);
    job->dmaFua = r.flag("dma");
    job->alignBytes = static_cast<uint32_t>(r.number("align", 0, UINT32_MAX));
    job->sectionSectors = r.number("section", 0);
    job->gapSectors = r.number("gap", 0);
    job->srcPath = r.text("src");
    job->destPath = r.text("dest");
    job->outIni = r.text("out-ini");
    job->outBin = r.text("out-bin");
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
    return r.problem();
}

std::optional<OptionProblem> readSmartJob(const ParseResult& args, SmartJob* job) {
    OptionReader r(args);
    job->disk = r.diskSelector();
    job->logIds = r.numberList("lid", 0xFF);
    job->logPageSizes = r.numberList("lpsize");
    job->configPath = r.text("smart-config", job->configPath);
    job->outLog = r.text("out-log", job->outLog);
    job->outBins = r.list("out-bin", job->outBins);
    job->outIni = r.text("out-ini", job->outIni);
    job->outCsv = r.text("out-csv");
    job->previousBins = r.list("prev-smart-bin");
    job->initialBins = r.list("init-smart-bin");
    job->resultJson = r.text("commfile", job->resultJson);
    return r.problem();
}

std::optional<OptionProblem> readPowerJob(const ParseResult& args, PowerJob* job) {
    OptionReader r(args);
    job->disk = r.diskSelector();
    job->controlName = r.text("pwrctrl");
    job->control = powerControlFromText(job->controlName);
    job->switchId = r.decimal("pwrid", -1);
    job->switchModel = r.text("pwrmodel");
    job->switchType = r.text("pwrtype");
    job->voltageCondition = r.text("vol");
    job->offDelaySeconds = r.amount("pwroffdelay", 0);
    job->offTimeoutSeconds = r.amount("pwroffto", job->offTimeoutSeconds);
    job->onDelaySeconds = r.amount("pwrondelay", 0);
    job->onTimeoutSeconds = r.amount("pwronto", job->onTimeoutSeconds);
    job->sleepDelaySeconds = static_cast<double>(
        r.number("sleepdelay", static_cast<uint64_t>(job->sleepDelaySeconds), UINT32_MAX));
    job->commandDelaySeconds = r.amount("pwrcmddelay", 0);
    job->shortCycles = static_cast<uint32_t>(r.number("shortcycle", 0, UINT32_MAX));
    job->shortCycleIntervalMs = static_cast<uint32_t>(r.number("shortcycleintv", 0, UINT32_MAX));
    job->retryCount = static_cast<uint32_t>(r.number("pwrcycle-retrycnt", 0, UINT32_MAX));
    job->checkHmb = r.flag("chk-hmb");
    job->smartConfig = r.text("smart-config");
    job->outIni = r.text("out-ini", job->outIni);
    return r.problem();
}

std::optional<OptionProblem> readCmdJob(const ParseResult& args, CmdJob* job) {
    OptionReader r(args);
    job->disk = r.diskSelector();
    job->protocol = r.text("protocol");
    job->direction = r.text("io");
    job->timeoutSeconds = r.amount("timeout", 0);
    job->dataHex = r.text("data");
    job->dataLength = static_cast<uint32_t>(r.number("datalen", 0, UINT32_MAX));
    job->feature = static_cast<uint16_t>(r.number("feature", 0, UINT16_MAX));
    job->lba = r.number("lba", 0);
    job->device = static_cast<uint8_t>(r.number("device", 0, UINT8_MAX));
    job->command = static_cast<uint8_t>(r.number("command", 0, UINT8_MAX));
    job->expectStatus = r.flag("status");
    job->expectedStatus = static_cast<uint8_t>(r.number("status", 0, UINT8_MAX));
    job->ata48 = r.flag("48bit");
    job->cdbHex = r.text("cdb");
    job->opcode = static_cast<uint8_t>(r.number("opc", 0, UINT8_MAX));
    job->nsid = static_cast<uint32_t>(r.number("ns", 0, UINT32_MAX));
    const char* dwords[] = {"cdw10", "cdw11", "cdw12", "cdw13", "cdw14", "cdw15"};
    for (size_t i = 0; i < job->cdw10to15.size(); ++i)
        job->cdw10to15[i] = static_cast<uint32_t>(r.number(dwords[i], 0, UINT32_MAX));
    job->queue = r.text("queue");
    job->trim = r.flag("trim");
    job->flush = r.flag("flush");
    job->identify = r.flag("identify");
    job->dumpType = r.text("dumptype");
    job->dumpBytes = static_cast<uint32_t>(r.number("dumpsize", 0, UINT32_MAX));
    job->logId = static_cast<uint32_t>(r.number("lid", 0, UINT8_MAX));
    job->logPageBytes = static_cast<uint32_t>(r.number("lpsize", 0, UINT32_MAX));
    job->dumpPath = r.text("dump");
    job->inBin = r.text("in-bin");
    job->outBin = r.text("out-bin", job->outBin);
    job->outIni = r.text("out-ini", job->outIni);
    for (const char* option : kCmdOptions)
        if (args.has(option)) job->given.insert(option);
    return r.problem();
}

}  // namespace zel
