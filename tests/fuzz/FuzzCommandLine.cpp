#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/fuzz/FuzzArgv.h"
#include "app/CommandLineChecks.h"
#include "app/JobReaders.h"
#include "app/OptionTable.h"

// Splits the input at NUL bytes into argv entries, then runs every reader
// of the parsed options: the entry's checks and each action's job.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static auto options = zel::makeOptions();
    FuzzArgv argv(data, size);
    try {
        zel::ParseResult args = zel::parseCommandLine(*options, argv.argc(), argv.argv());
        (void)zel::findCommandLineProblem(args);
        zel::RwJob rw;
        (void)zel::readRwJob(args, 0, &rw);
        zel::WorkloadJob workload;
        (void)zel::readWorkloadJob(args, &workload);
        zel::SmartJob smart;
        (void)zel::readSmartJob(args, &smart);
        zel::PowerJob power;
        (void)zel::readPowerJob(args, &power);
        zel::CmdJob cmd;
        (void)zel::readCmdJob(args, &cmd);
    } catch (const cxxopts::exceptions::exception&) {
        // The tool lets parser errors end the run; here they are expected.
    }
    return 0;
}
