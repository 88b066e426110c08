#pragma once

#include <array>
#include <cstdint>
#include <set>
#include <string>

#include "disk/DiskSelector.h"

namespace zel {

// One raw command or dump as the cmd action's options ask for it. Numbers
// are checked against their field's width when read; the command itself is
// built and checked by the cmd engine.
struct CmdJob {
    DiskSelector disk;
    std::string protocol;   // "ata", "scsi", "nvme" (or "zelnvme"); empty: the disk's own
    std::string direction;  // "in", "out", "none"; empty: none
    double timeoutSeconds = 0;
    std::string dataHex;
    uint32_t dataLength = 0;
    // ATA task file.
    uint16_t feature = 0;
    uint64_t lba = 0;
    uint8_t device = 0;
    uint8_t command = 0;
    bool expectStatus = false;
    uint8_t expectedStatus = 0;
    bool ata48 = false;
    // SCSI.
    std::string cdbHex;
    // NVMe.
    uint8_t opcode = 0;
    uint32_t nsid = 0;
    std::array<uint32_t, 6> cdw10to15{};
    std::string queue;  // "admin" or "io"; empty: admin
    // Shortcuts and dumps.
    bool trim = false;
    bool flush = false;
    bool identify = false;
    std::string dumpType;
    uint32_t dumpBytes = 0;  // 0: one sector
    uint32_t logId = 0;
    uint32_t logPageBytes = 0;
    std::string dumpPath;
    std::string inBin;
    std::string outBin = "zelcli_output.bin";
    std::string outIni = "zelcli_output.ini";
    // The cmd options given on the command line, so that the engine can tell
    // a default from a value typed as 0 and refuse options of another protocol.
    std::set<std::string> given;

    bool has(const std::string& option) const { return given.count(option) != 0; }
};

}  // namespace zel
