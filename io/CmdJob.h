#pragma once

#include <array>
#include <bitset>
#include <cstdint>
#include <optional>
#include <string>

#include "core/ResultFileNames.h"
#include "disk/DiskSelector.h"

namespace zel {

// The cmd action's options the engine tells apart from their defaults. The
// option table maps each option name to one of these.
enum class CmdField {
    Protocol, Io, Timeout, Data, DataLen, Feature, Lba, Device, Command, Status, Ata48, Cdb, Opc, Ns,
    Cdw10, Cdw11, Cdw12, Cdw13, Cdw14, Cdw15, Queue, Trim, Flush, Identify, DumpType, DumpSize, Lid, LpSize,
    Dump, InBin, OutBin, OutIni,
    Count
};

// The cmd options given on the command line, each with the name it was
// given under, so that a refusal names the option as the table declares it.
class GivenCmdFields {
public:
    void add(CmdField field, const char* name) {
        bits_.set(index(field));
        names_[index(field)] = name;
    }
    void remove(CmdField field) { bits_.reset(index(field)); }
    bool has(CmdField field) const { return bits_.test(index(field)); }
    const char* name(CmdField field) const { return names_[index(field)]; }

private:
    static size_t index(CmdField field) { return static_cast<size_t>(field); }

    std::bitset<static_cast<size_t>(CmdField::Count)> bits_;
    std::array<const char*, static_cast<size_t>(CmdField::Count)> names_{};
};

// "zelnvme" is nvme here: the entry has already switched the disk's route.
enum class CmdProtocol { DiskOwn, Ata, Scsi, Nvme };
enum class CmdDirection { None, In, Out };
enum class CmdQueue { Admin, Io };
enum class DumpType { None, Zero, Rand, Lba, Identify, Smart, LogPage, IdentifyNs };

// A word option read into its enum. A word that names none of the values
// keeps its text only for the refusal that quotes it, which the engine
// makes in its own order.
template <typename Enum>
struct CmdWord {
    Enum value{};
    std::optional<std::string> unknownText;
};

// One raw command or dump as the cmd action's options ask for it. Numbers
// are checked against their field's width when read; the command itself is
// built and checked by the cmd engine.
struct CmdJob {
    DiskSelector disk;
    CmdWord<CmdProtocol> protocol;
    CmdWord<CmdDirection> direction;
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
    CmdWord<CmdQueue> queue;
    // Shortcuts and dumps.
    bool trim = false;
    bool flush = false;
    bool identify = false;
    CmdWord<DumpType> dumpType;
    uint32_t dumpBytes = 0;  // 0: one sector
    uint32_t logId = 0;
    uint32_t logPageBytes = 0;
    std::string dumpPath;
    std::string inBin;
    std::string outBin = kDefaultOutputBin;
    std::string outIni = kDefaultOutputIni;
    // So that the engine can tell a default from a value typed as 0 and
    // refuse options of another protocol.
    GivenCmdFields given;

    bool has(CmdField field) const { return given.has(field); }
};

// The words of --protocol, --io, --queue and --dumptype, in any case. An
// empty text is the option's default, except for --dumptype.
CmdWord<CmdProtocol> cmdProtocolFromText(const std::string& text);
CmdWord<CmdDirection> cmdDirectionFromText(const std::string& text);
CmdWord<CmdQueue> cmdQueueFromText(const std::string& text);
CmdWord<DumpType> dumpTypeFromText(const std::string& text);

// The word of a dump type, as the plan's label gives it.
const char* dumpTypeName(DumpType type);

}  // namespace zel
