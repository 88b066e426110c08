#include "power/PowerRecords.h"

#include "core/WinReg.h"

namespace zel {
namespace {

const char kDutKey[] = "SOFTWARE\\ZEL\\dut";
const char kSmartKey[] = "SOFTWARE\\ZEL\\smart";

}  // namespace

bool writeFlowRecords(const FlowRecord& r, const SmartCountersAfterFlow* counters) {
    bool ok = WinReg::writeText(kDutKey, "pwrctrl", r.control);
    ok = WinReg::writeNumber(kDutKey, "disk_id", r.dutNumber) && ok;
    ok = WinReg::writeText(kDutKey, "disk_sn", r.serial) && ok;
    ok = WinReg::writeNumber(kDutKey, "pwr_id", r.switchNumber) && ok;
    ok = WinReg::writeNumber(kDutKey, "attempts", r.attempts) && ok;
    ok = WinReg::writeNumber(kDutKey, "result", r.result) && ok;
    ok = WinReg::writeNumber(kDutKey, "pwr_off_time", static_cast<int64_t>(r.offAt)) && ok;
    ok = WinReg::writeNumber(kDutKey, "pwr_on_time", static_cast<int64_t>(r.onAt)) && ok;
    if (r.result == 0)
        ok = WinReg::writeNumber(kDutKey, "pwrcycle_cnt", WinReg::readNumber(kDutKey, "pwrcycle_cnt", 0) + 1) && ok;
    if (!counters) return ok;
    ok = WinReg::writeNumber(kSmartKey, "pwrcycle_retry_cnt", counters->pwrcycleRetry) && ok;
    if (counters->gsdRetry) ok = WinReg::writeNumber(kSmartKey, "gsd_retry_cnt", *counters->gsdRetry) && ok;
    if (counters->ugsdRetry) ok = WinReg::writeNumber(kSmartKey, "ugsd_retry_cnt", *counters->ugsdRetry) && ok;
    return ok;
}

}  // namespace zel
