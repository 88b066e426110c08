#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/fuzz/FuzzArgv.h"
#include "app/JobReaders.h"
#include "app/OptionTable.h"
#include "io/CmdAnswer.h"
#include "io/CmdMediaChange.h"
#include "io/CmdTranslate.h"

// The cmd action's command line to device command: the first byte picks the
// disk's route, sector size, JMicron tunnel and OS drive, the rest splits at
// NUL bytes into argv entries. Every plan must stay inside what its record and
// data can hold, and none that can change the media passes on the OS drive.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static auto options = zel::makeOptions();
    if (size == 0) return 0;
    static const zel::ProtocolCode kRoutes[] = {
        zel::ProtocolCode::kNone, zel::ProtocolCode::kAtaOverAta, zel::ProtocolCode::kScsi,
        zel::ProtocolCode::kNvmeByStornvme, zel::ProtocolCode::kNvmeByScsiMiniport, zel::ProtocolCode::kNvmeByIrst};
    const zel::CmdTarget target{kRoutes[data[0] % 6], 2, (data[0] & 0x80) ? 4096u : 512u, 1u << 20,
                                (data[0] & 0x40) != 0, (data[0] & 0x20) != 0};
    FuzzArgv argv(data + 1, size - 1);
    try {
        zel::ParseResult args = zel::parseCommandLine(*options, argv.argc(), argv.argv());
        zel::CmdJob job;
        if (zel::readCmdJob(args, &job)) return 0;
        const std::vector<uint8_t> inBin(job.dataLength % 8192, 0x5A);
        zel::CmdPlan plan;
        if (zel::translateCmd(job, target, inBin, &plan)) return 0;
        if (plan.step == zel::CmdStep::Send && plan.direction == zel::CmdDirection::Out &&
            plan.dataOut.size() != plan.dataLength)
            __builtin_trap();
        if (target.osDrive && zel::planMediaEffect(plan, target.nvmeTunnel).changes) __builtin_trap();
        if (plan.viaTunnel && (plan.family != zel::CmdFamily::Nvme || plan.dataLength > 4096)) __builtin_trap();
        if (plan.step == zel::CmdStep::ReadLba && plan.range.lba + plan.range.sectors > target.sectorCount)
            __builtin_trap();
        (void)zel::requestLine(plan);
        (void)zel::answerLine(plan, zel::CmdAnswer{});
    } catch (const cxxopts::exceptions::exception&) {
        // The tool lets parser errors end the run; here they are expected.
    }
    return 0;
}
