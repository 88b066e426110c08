#include "power/PowerRun.h"

#include <windows.h>

#include <memory>
#include <optional>
#include <vector>

#include "core/Clock.h"
#include "core/IniFile.h"
#include "core/Logger.h"
#include "core/Paths.h"
#include "core/ProcessSwitches.h"
#include "core/TextFormat.h"
#include "disk/DiskBase.h"
#include "disk/DiskList.h"
#include "disk/DiskProbe.h"
#include "power/BoardCommands.h"
#include "power/PowerCycleFlows.h"
#include "power/PowerRecords.h"
#include "power/PowerSwitch.h"
#include "power/SystemPower.h"
#include "power/Waiting.h"

namespace zel {
namespace {

// The disk options a run gave, as typed: what a missing DUT was looked up by.
std::string selectorText(const DiskSelector& disk) {
    std::string text = disk.id >= 0 ? formatText("--diskid %d", disk.id) : "";
    const std::pair<const char*, const std::string*> texts[] = {
        {"--diskmodel", &disk.model}, {"--disksn", &disk.serial}, {"--diskpattern", &disk.pattern}};
    for (const auto& [option, value] : texts)
        if (!value->empty()) text += (text.empty() ? "" : " ") + formatText("%s \"%s\"", option, value->c_str());
    return text;
}

ErrorCode fail(ErrorCode code) {
    setLastError(code);
    return code;
}

std::unique_ptr<PowerSwitch> selectSwitch(const PowerJob& job) {
    DiskList& list = DiskList::instance().get(false);
    std::vector<BoardCandidate> candidates;
    for (const auto& disk : list.disks())
        candidates.push_back({disk->number(), disk->diskKind(), disk->model(), disk->firmware()});
    const BoardChoice choice = chooseBoard(job, processSwitches().powerSwitchType, candidates);
    for (const auto& disk : list.disks()) {
        if (choice.board == BoardClass::None || disk->number() != choice.number) continue;
        if (disk->isOsDrive()) {
            logWarning("[PowerRun] Disk%d is the OS drive and cannot be a power switch", choice.number);
            setLastError(err::kOsDrive);
            return nullptr;
        }
        logInfo("[PowerRun] Power switch %s on Disk%d", boardClassName(choice.board), choice.number);
        return createPowerSwitch(choice.board, *disk);
    }
    logWarning("[PowerRun] No power switch matches pwrid %d, pwrmodel \"%s\"", job.switchId, job.switchModel.c_str());
    setLastError(err::kPowerSwitchNotFound);
    return nullptr;
}

// The disk the selector names, looked for afresh: a DUT that comes back
// may have another number.
bool selectorFindsDisk(const DiskSelector& selector) {
    const bool byNumber = selector.pattern.empty() && selector.serial.empty() && selector.model.empty();
    for (int number = 0; number < kMaxDiskNumber; ++number) {
        if (byNumber && number != selector.id) continue;
        const std::optional<DiskIdentity> identity = probeDisk(number);
        if (!identity) continue;
        const bool matches = !selector.pattern.empty() ? diskMatchesPattern(DiskBase(*identity), selector.pattern)
                             : !selector.serial.empty() ? identity->serial == selector.serial
                             : !selector.model.empty()  ? identity->model.find(selector.model) != std::string::npos
                                                        : true;
        if (matches) return true;
    }
    return false;
}

// The board taking the command does not show that the rail it switched is
// the DUT's: "off" is done when the DUT is gone, "on" when it is there.
ErrorCode checkSwitched(const PowerJob& job, PowerSwitch& power, const DiskBase* dut, bool on) {
    if (!on && dut) {
        if (waitUntilDiskGone(dut->number(), job.offTimeoutSeconds)) return 0;
        logWarning("[PowerRun] Disk%d is still present after power off, power switched on again", dut->number());
        power.powerOn();  // the rail cut is some other disk's
        return fail(err::kPowerCycleFlow);
    }
    if (on && !dut) {
        if (waitFor(job.onTimeoutSeconds, [&] { return selectorFindsDisk(job.disk); })) return 0;
        logWarning("[PowerRun] The DUT (%s) did not appear after power on", selectorText(job.disk).c_str());
        return fail(err::kPowerOnTimeout);
    }
    return 0;
}

ErrorCode switchOnOff(const PowerJob& job, PowerSwitch& power, const DiskBase* dut, bool on, PowerRunRecord& record) {
    logInfo("[PowerRun] Power %s", on ? "on" : "off");
    if (!(on ? power.powerOn() : power.powerOff())) return fail(err::kPowerCommand);
    (on ? record.timeline.onSentAt : record.timeline.offSentAt) = nowMilliseconds();
    sleepSeconds(job.commandDelaySeconds);
    const ErrorCode code = checkSwitched(job, power, dut, on);
    // checkSwitched waits for the DUT only when it knows it.
    if (code == 0 && dut) (on ? record.timeline.backAt : record.timeline.goneAt) = nowMilliseconds();
    return code;
}

bool measure(PowerSwitch& power, PowerMeasurement* m) {
    if (!power.measure(&m->millivolts, &m->milliamps, &m->milliwatts)) return false;
    logInfo("%s", measurementLine(*m).c_str());
    return true;
}

ErrorCode measureToIni(PowerSwitch& power, const std::string& outIni, PowerRunRecord& record) {
    PowerMeasurement m;
    if (!measure(power, &m)) return fail(err::kMeasurePower);
    record.measurement = m;
    IniFile ini(resolveOutputPath(outIni));
    bool ok = ini.writeText("power", "voltage_mv", formatText("%.2f", m.millivolts));
    ok = ini.writeText("power", "current_ma", formatText("%.2f", m.milliamps)) && ok;
    ok = ini.writeText("power", "power_mw", formatText("%.2f", m.milliwatts)) && ok;
    ok = ini.save() && ok;
    return ok ? 0 : fail(lastError() ? lastError() : err::kMeasurePower);
}

ErrorCode controlVoltage(PowerSwitch& power, const std::string& text) {
    VoltageCondition condition;
    if (!parseVoltageCondition(text, &condition)) {
        logWarning("[PowerRun] Voltage condition \"%s\" is not understood", text.c_str());
        return fail(err::kVoltageCondition);
    }
    const uint32_t target = targetMillivolts(condition);
    logInfo("[PowerRun] Set voltage to %u mV for %s", target, text.c_str());
    PowerMeasurement m;
    if (!power.setVoltage(target) || !measure(power, &m)) return fail(err::kControlVoltage);
    return conditionHolds(condition, m.millivolts) ? 0 : fail(err::kControlVoltage);
}

const char* controlText(PowerControl control) { return control == PowerControl::Gsd ? "gsd" : "ugsd"; }

void recordFlow(const PowerCycleFlow& flow, PowerRunRecord& record) {
    record.attempts = flow.attempts();
    record.dutNumberAfter = flow.dutNumber();
    record.timeline = {flow.poweredOffAt(), flow.goneAt(), flow.poweredOnAt(), flow.backAt()};
}

ErrorCode runFlow(const PowerJob& job, DiskBase& dut, PowerSwitch& power, PowerRunRecord& rec) {
    std::unique_ptr<PowerCycleFlow> flow = createPowerCycleFlow(job, dut, power);
    rec.graceful = job.control == PowerControl::Gsd;
    rec.shortCycles = job.shortCycles;
    const ErrorCode code = flow->run(job.control == PowerControl::Gsd);
    recordFlow(*flow, rec);
    FlowRecord record;
    record.control = controlText(job.control);
    record.dutNumber = flow->dutNumber();
    record.serial = dut.serialNumber();
    record.switchNumber = power.board().number();
    record.attempts = flow->attempts();
    record.result = code;
    record.offAt = flow->poweredOffAt();
    record.onAt = flow->poweredOnAt();
    const SmartCountersAfterFlow counters = smartCountersAfterFlow(job.control, flow->attempts(), job.shortCycles);
    if (!writeFlowRecords(record, code == 0 ? &counters : nullptr))
        logWarning("[PowerRun] Cannot write the power-cycle records %s", errorText(lastError()).c_str());
    else if (code == 0)
        rec.counters = counters;
    return code ? fail(code) : 0;
}

ErrorCode runWithSwitch(const PowerJob& job, DiskBase* dut, PowerRunRecord& record) {
    std::unique_ptr<PowerSwitch> power = selectSwitch(job);
    if (!power) return lastError();
    record.board = boardClassName(power->boardClass());
    record.boardNumber = power->board().number();
    switch (job.control) {
        case PowerControl::On: return switchOnOff(job, *power, dut, true, record);
        case PowerControl::Off: return switchOnOff(job, *power, dut, false, record);
        case PowerControl::Measure: return measureToIni(*power, job.outIni, record);
        case PowerControl::Voltage: return controlVoltage(*power, job.voltageCondition);
        default: break;
    }
    if (!dut) return fail(err::kDiskNotFound);
    return runFlow(job, *dut, *power, record);
}

// Where the record goes when the caller wants none.
PowerRunRecord& recordOrScratch(PowerRunRecord* record) {
    static PowerRunRecord scratch;
    return record ? *record : scratch;
}

ErrorCode finishRecord(PowerRunRecord& record, ErrorCode code) {
    record.result = code;
    return code;
}

}  // namespace

bool controlNeedsOnlySwitch(PowerControl control) {
    return control == PowerControl::On || control == PowerControl::Off || control == PowerControl::Measure ||
           control == PowerControl::Voltage;
}

bool controlTouchesDutPower(PowerControl control) {
    switch (control) {
        case PowerControl::On:
        case PowerControl::Off:
        case PowerControl::Voltage:
        case PowerControl::Gsd:
        case PowerControl::Ugsd:
        case PowerControl::D3Hot: return true;
        default: return false;
    }
}

namespace {

ErrorCode runPowerSteps(const PowerJob& job, DiskBase& dut, PowerRunRecord& record) {
    // Before the switch is even chosen: nothing may reach a board or the
    // controller of the drive the system runs from.
    if (controlTouchesDutPower(job.control) && dut.isOsDrive()) {
        logWarning("[PowerRun] Disk%d is the OS drive: power control \"%s\" refused", dut.number(),
                   job.controlName.c_str());
        return fail(err::kOsDrive);
    }
    switch (job.control) {
        case PowerControl::Unknown:
            logWarning("[PowerRun] Power control \"%s\" not supported!", job.controlName.c_str());
            return fail(err::kNotSupported);
        case PowerControl::On:
        case PowerControl::Off:
        case PowerControl::Measure:
        case PowerControl::Voltage:
        case PowerControl::Gsd:
        case PowerControl::Ugsd: return runWithSwitch(job, &dut, record);
        default: return runSystemPower(job, dut);
    }
}

}  // namespace

ErrorCode runPower(const PowerJob& job, DiskBase& dut, PowerRunRecord* recordOut) {
    PowerRunRecord& record = recordOrScratch(recordOut);
    record.control = job.controlName;
    return finishRecord(record, runPowerSteps(job, dut, record));
}

ErrorCode runPowerWithoutDut(const PowerJob& job, PowerRunRecord* recordOut) {
    PowerRunRecord& record = recordOrScratch(recordOut);
    record.control = job.controlName;
    if (!controlNeedsOnlySwitch(job.control)) return finishRecord(record, fail(err::kDiskNotFound));
    return finishRecord(record, runWithSwitch(job, nullptr, record));
}

}  // namespace zel
