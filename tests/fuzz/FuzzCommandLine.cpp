#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "app/CommandLineChecks.h"
#include "app/JobReaders.h"
#include "app/OptionTable.h"

// Splits the input at NUL bytes into argv entries, then runs every reader
// of the parsed options: the entry's checks and each action's job.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static auto options = zel::makeOptions();
    std::vector<std::string> words{"ZelCli.exe"};
    std::string current;
    for (size_t i = 0; i < size; ++i) {
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
