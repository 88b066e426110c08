#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "app/JobReaders.h"
#include "app/OptionTable.h"
#include "io/CmdAnswer.h"
#include "io/CmdTranslate.h"

// The cmd action's command line to device command: the first byte picks the
// disk's route and sector size, the rest splits at NUL bytes into argv
// entries. Every plan must stay inside what its record and data can hold.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static auto options = zel::makeOptions();
    if (size == 0) return 0;
    static const zel::ProtocolCode kRoutes[] = {
        zel::ProtocolCode::kNone, zel::ProtocolCode::kAtaOverAta, zel::ProtocolCode::kScsi,
        zel::ProtocolCode::kNvmeByStornvme, zel::ProtocolCode::kNvmeByScsiMiniport, zel::ProtocolCode::kNvmeByIrst};
    const zel::CmdTarget target{kRoutes[data[0] % 6], 2, (data[0] & 0x80) ? 4096u : 512u, 1u << 20};
    std::vector<std::string> words{"ZelCli.exe"};
    std::string current;
    for (size_t i = 1; i < size; ++i) {
        if (data[i] == 0) {
            words.push_back(current);
            current.clear();
        } else {
            current.push_back(static_cast<char>(data[i]));
        }
    }
    words.push_back(current);
    std::vector<const char*> argv;
    for (const auto& w : words) argv.push_back(w.c_str());
    try {
        zel::ParseResult args = zel::parseCommandLine(*options, static_cast<int>(argv.size()), argv.data());
        zel::CmdJob job;
        if (zel::readCmdJob(args, &job)) return 0;
        const std::vector<uint8_t> inBin(job.dataLength % 8192, 0x5A);
        zel::CmdPlan plan;
        if (zel::translateCmd(job, target, inBin, &plan)) return 0;
        if (plan.step == zel::CmdStep::Send && plan.direction == zel::CmdDirection::Out &&
            plan.dataOut.size() != plan.dataLength)
            __builtin_trap();
        if (plan.step == zel::CmdStep::ReadLba && plan.range.lba + plan.range.sectors > target.sectorCount)
            __builtin_trap();
        (void)zel::requestLine(plan);
        (void)zel::answerLine(plan, zel::CmdAnswer{});
    } catch (const cxxopts::exceptions::exception&) {
        // The tool lets parser errors end the run; here they are expected.
    }
    return 0;
}
