#pragma once

// The cmd action's options turned into one device command (or a dump), with
// every check that can be made before anything is sent. Windows-free, so the
// whole translation is fuzzed natively.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/ErrorCodes.h"
#include "io/CmdJob.h"
#include "io/TransferPlan.h"
#include "protocol/CommandRecords.h"
#include "protocol/ProtocolCode.h"

namespace zel {

// The command set a run speaks: the disk's own, or SCSI when asked for.
enum class CmdFamily { Ata, Scsi, Nvme };

// What the run does once the plan is made.
enum class CmdStep {
    Send,       // one command record through `route`
    HostTrim,   // the Windows trim request (routes that cannot carry the command)
    HostFlush,  // FlushFileBuffers, likewise
    Generate,   // a zero or rand dump, no device access
    ReadLba,    // an lba dump: sectors read from the disk
};

// What the translation needs to know of the selected disk.
struct CmdTarget {
    ProtocolCode diskCode = ProtocolCode::kNone;
    uint32_t diskNumber = 0;
    uint32_t sectorSize = 512;
    uint64_t sectorCount = 0;
    // The JMicron bridge's NVMe tunnel (disk kind 22) behind a SCSI route.
    bool nvmeTunnel = false;
    // Holds the Windows folder: nothing that can change the media is sent.
    bool osDrive = false;
};

struct CmdPlan {
    CmdStep step = CmdStep::Send;
    CmdFamily family = CmdFamily::Ata;
    ProtocolCode route = ProtocolCode::kNone;
    // NVMe through the JMicron tunnel: `route` stays the SCSI route that
    // carries it, since the tunnel has no protocol code of its own.
    bool viaTunnel = false;
    std::string label;  // "identify", "trim", "flush", "command" or the dump type
    CmdDirection direction = CmdDirection::None;
    AtaCommand ata;
    ScsiCommand scsi;
    NvmeCommand nvme;
    std::vector<uint8_t> dataOut;  // what goes to the device
    uint32_t dataLength = 0;       // bytes moved either way
    bool expectStatus = false;
    uint8_t expectedStatus = 0;
    // Data that comes back must differ from this (--in-bin with --io in).
    std::optional<std::vector<uint8_t>> mustDiffer;
    Transfer range;  // trim and lba dump, in logical sectors
    DumpType dumpType = DumpType::None;
    uint32_t dumpBytes = 0;
    std::string dataPath;  // where returned or generated data goes; empty: nowhere
    ErrorCode failureCode = 0;  // the code a failed trim or flush answers
};

// A refusal: the WARNING line and the code.
struct CmdProblem {
    ErrorCode code = 0;
    std::string line;
};

// The family a disk's route speaks; nullopt for a disk without a route.
std::optional<CmdFamily> familyOfRoute(ProtocolCode code);
const char* familyName(CmdFamily family);

// Hex bytes: pairs of hex digits, blanks allowed between bytes, no prefix.
bool parseHexBytes(const std::string& text, std::vector<uint8_t>* bytes);

// The whole translation. `inBin` holds the --in-bin file when one is given.
std::optional<CmdProblem> translateCmd(const CmdJob& job, const CmdTarget& target,
                                       const std::vector<uint8_t>& inBin, CmdPlan* plan);

}  // namespace zel
