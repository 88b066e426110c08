#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <initializer_list>
#include <memory>
#include <string>

#include "tests/support/ChildProcess.h"
#include "tests/support/TempDir.h"

namespace zeltest {

// Disk 0 holds the Windows folder's letter C; disk 1 is a small NVMe disk,
// disk 2 a small SATA disk, disk 3 a SATA disk of a size no alignment divides.
inline std::string ioHost(const std::string& disk1Extra = "", const std::string& disk2Extra = "",
                          const std::string& top = "") {
    return "{" + top + R"("disks": [
  {"number": 0, "busType": 11, "model": "Sys SATA", "serial": "SYS-0", "sectorCount": 65536,
   "driver": {"provider": "Microsoft"}, "scsiAddress": {"port": 0},
   "volumes": [{"letter": "C", "totalBytes": "16m", "freeBytes": "8m"}]},
  {"number": 1, "busType": 17, "model": "Dut NVMe", "serial": "DUT-1", "sectorCount": 8192,
   "driver": {"provider": "Microsoft"}, "scsiAddress": {"port": 1}, "pci": {"vendorId": "0x1AB2"})" + disk1Extra + R"(},
  {"number": 2, "busType": 11, "model": "Dut SATA", "serial": "DUT-2", "sectorCount": 8192,
   "driver": {"provider": "Microsoft"}, "scsiAddress": {"port": 2})" + disk2Extra + R"(},
  {"number": 3, "busType": 11, "model": "Odd SATA", "serial": "ODD-3", "sectorCount": 8195,
   "driver": {"provider": "Microsoft"}, "scsiAddress": {"port": 3}}]})";
}

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
    // A run that must end with `code` and print each of `lines`; what it
    // printed says why when it does not.
    ChildResult runExpecting(const std::string& args, uint32_t code, std::initializer_list<std::string> lines = {}) {
        ChildResult result = run(args);
        EXPECT_EQ(result.exitCode, code) << args << "\n" << result.output;
        for (const std::string& line : lines)
            EXPECT_TRUE(contains(result.output, line)) << args << ": no \"" << line << "\"\n" << result.output;
        return result;
    }
    std::string file(const std::string& name) const { return readFile(dir_->file(name)); }

    std::unique_ptr<TempDir> dir_;
};

}  // namespace zeltest
