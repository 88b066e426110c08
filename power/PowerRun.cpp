#include "power/PowerRun.h"

#include <windows.h>

#include <memory>
#include <vector>

#include "core/Clock.h"
#include "core/IniFile.h"
#include "core/Logger.h"
#include "core/Paths.h"
#include "core/ProcessSwitches.h"
#include "core/TextFormat.h"
#include "disk/DiskBase.h"
#include "disk/DiskList.h"
#include "power/BoardCommands.h"
#include "power/PowerCycleFlow.h"
#include "power/PowerRecords.h"
#include "power/PowerSwitch.h"
#include "power/SystemPower.h"

namespace zel {
namespace {

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
        logInfo("[PowerRun] Power switch %s on Disk%d", boardClassName(choice.board), choice.number);
        return createPowerSwitch(choice.board, *disk);
    }
    logWarning("[PowerRun] No power switch matches pwrid %d, pwrmodel \"%s\"", job.switchId, job.switchModel.c_str());
    return nullptr;
}

ErrorCode switchOnOff(PowerSwitch& power, bool on, double commandDelaySeconds) {
    logInfo("[PowerRun] Power %s", on ? "on" : "off");
    if (!(on ? power.powerOn() : power.powerOff())) return fail(err::kPowerCommand);
    if (commandDelaySeconds > 0) Sleep(static_cast<DWORD>(commandDelaySeconds * 1000));
    return 0;
}

bool measure(PowerSwitch& power, PowerMeasurement* m) {
    if (!power.measure(&m->millivolts, &m->milliamps, &m->milliwatts)) return false;
    logInfo("%s", measurementLine(*m).c_str());
    return true;
}

ErrorCode measureToIni(PowerSwitch& power, const std::string& outIni) {
    PowerMeasurement m;
    if (!measure(power, &m)) return fail(err::kMeasurePower);
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

ErrorCode runFlow(const PowerJob& job, DiskBase& dut, PowerSwitch& power) {
    if (dut.refuseIfOsDrive()) return lastError();
    std::unique_ptr<PowerCycleFlow> flow = createPowerCycleFlow(job, dut, power);
    const ErrorCode code = flow->run(job.control == PowerControl::Gsd);
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
    return code ? fail(code) : 0;
}

ErrorCode runWithSwitch(const PowerJob& job, DiskBase* dut) {
    std::unique_ptr<PowerSwitch> power = selectSwitch(job);
    if (!power) return fail(err::kPowerSwitchNotFound);
    switch (job.control) {
        case PowerControl::On: return switchOnOff(*power, true, job.commandDelaySeconds);
        case PowerControl::Off: return switchOnOff(*power, false, job.commandDelaySeconds);
        case PowerControl::Measure: return measureToIni(*power, job.outIni);
        case PowerControl::Voltage: return controlVoltage(*power, job.voltageCondition);
        default: break;
    }
    if (!dut) return fail(err::kDiskNotFound);
    return runFlow(job, *dut, *power);
}

}  // namespace

bool controlNeedsOnlySwitch(PowerControl control) {
    return control == PowerControl::On || control == PowerControl::Off || control == PowerControl::Measure ||
           control == PowerControl::Voltage;
}

ErrorCode runPower(const PowerJob& job, DiskBase& dut) {
    switch (job.control) {
        case PowerControl::Unknown:
            logWarning("[PowerRun] Power control not supported!");
            return fail(err::kNotSupported);
        case PowerControl::On:
        case PowerControl::Off:
        case PowerControl::Measure:
        case PowerControl::Voltage:
        case PowerControl::Gsd:
        case PowerControl::Ugsd: return runWithSwitch(job, &dut);
        default: return runSystemPower(job, dut);
    }
}

ErrorCode runPowerWithoutDut(const PowerJob& job) {
    if (!controlNeedsOnlySwitch(job.control)) return fail(err::kDiskNotFound);
    return runWithSwitch(job, nullptr);
}

}  // namespace zel
