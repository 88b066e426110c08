#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <string>

#include "tests/support/ChildProcess.h"
#include "tests/support/TempDir.h"

namespace zeltest {

// ZelCli.exe on a virtual host. Each host gets a fresh folder, which also
// takes the run's log and result files, so nothing of an earlier host is seen.
class VhostFixture : public testing::Test {
protected:
    void useHost(const std::string& description) {
        dir_ = std::make_unique<TempDir>();
        std::ofstream(dir_->file("host.json"), std::ios::binary) << description;
    }
    virtual ChildResult run(const std::string& args) {
        return runZelCli(args + " --logdir \"" + dir_->path() + "\" --logfile run.log", dir_->path(),
                         {"ZELCLI_VHOST=" + dir_->file("host.json")});
    }
    // A run that must end with `code`; what it printed says why when it does not.
    ChildResult runExpecting(const std::string& args, uint32_t code) {
        ChildResult result = run(args);
        EXPECT_EQ(result.exitCode, code) << args << "\n" << result.output;
        return result;
    }
    std::string file(const std::string& name) const { return readFile(dir_->file(name)); }

    std::unique_ptr<TempDir> dir_;
};

}  // namespace zeltest
