#include "power/PowerCycleFlows.h"

#include "core/Logger.h"
#include "disk/DiskBase.h"
#include "power/ShutdownNotification.h"
#include "protocol/CommandRecords.h"
#include "protocol/IProtocol.h"
#include "protocol/Opcodes.h"

namespace zel {
namespace {

ErrorCode failed(const char* flow, const char* what, ErrorCode code) {
    logWarning("[%s] Failed to %s %s", flow, what, errorText(lastError()).c_str());
    setLastError(code);
    return code;
}

bool sendAta(DiskBase& disk, uint8_t opcode) {
    if (!disk.protocol()) return setLastError(err::kProtocolNotImplemented), false;
    AtaCommand command;
    command.command = opcode;
    command.device = 0xA0;
    command.flags = ataflags::kDrdyRequired | (opcode == ataop::kFlushCacheExt ? ataflags::k48Bit : 0);
    return disk.protocol()->sendCommand(static_cast<uint32_t>(disk.number()), nullptr, 0, &command);
}

bool sendScsi(DiskBase& disk, uint8_t opcode) {
    if (!disk.protocol()) return setLastError(err::kProtocolNotImplemented), false;
    ScsiCommand command;
    command.cdbLength = opcode == scsiop::kStartStopUnit ? 6 : 10;
    command.cdb[0] = opcode;
    command.direction = scsidir::kUnspecified;
    return disk.protocol()->sendCommand(static_cast<uint32_t>(disk.number()), nullptr, 0, &command);
}

}  // namespace

ErrorCode SataPowerCycleFlow::prepare() {
    logInfo("[%s] Flush cache and stand by before power off", name());
    if (!sendAta(dut(), ataop::kFlushCacheExt)) return failed(name(), "flush cache", err::kFlushFailed);
    if (!sendAta(dut(), ataop::kStandbyImmediate)) return failed(name(), "stand by", err::kPowerCycleFlow);
    return 0;
}

// The notification logs its own failure.
ErrorCode NvmePowerCycleFlow::prepare() { return notifyNvmeShutdown(dut()); }

ErrorCode UsbPowerCycleFlow::prepare() {
    logInfo("[%s] Synchronize cache and stop the unit before power off", name());
    if (!sendScsi(dut(), scsiop::kSynchronizeCache10)) return failed(name(), "synchronize cache", err::kFlushFailed);
    if (!sendScsi(dut(), scsiop::kStartStopUnit)) return failed(name(), "stop the unit", err::kPowerCycleFlow);
    return 0;
}

std::unique_ptr<PowerCycleFlow> createPowerCycleFlow(const PowerJob& job, DiskBase& dut, IPowerControl& power) {
    switch (dut.diskKind()) {
        case diskkind::kSata: return std::make_unique<SataPowerCycleFlow>(job, dut, power);
        case diskkind::kNvme: return std::make_unique<NvmePowerCycleFlow>(job, dut, power);
        default: return std::make_unique<UsbPowerCycleFlow>(job, dut, power);
    }
}

}  // namespace zel
