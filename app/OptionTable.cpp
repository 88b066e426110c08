#include "app/OptionTable.h"

#include <set>

#include "core/ResultFileNames.h"
#include "core/TextFormat.h"
#include "io/RwJob.h"
#include "power/PowerJob.h"
#include "smart/SmartJob.h"

namespace zel {
namespace {

using K = OptionKind;
using F = CmdField;

const unsigned kByAnyAction = kByPwr | kByRw | kByCmd | kByWkld | kBySmart;

// Hidden rows are declared in a group of their own that help does not print.
const char kHiddenGroup[] = "hidden";

const char* const kPwrctrlHelp =
    "Power control\n"
    "on/off: Simple power on/off functions\n"
    "measure: Measure power, must use with argument --out-ini\n"
    "vol: Update voltage, must use with argument vol\n"
    "gsd/ugsd: Power cycle flow\n"
    "cpu: CPU cold reset\n"
    "coldboot: Cold boot\n"
    "reboot/s3/s4: Windows reboot and suspend test\n"
    "d3hot: PCI power management D3 hot\n";

std::string amountText(double value) { return formatText("%g", value); }

// Builds the table row by row; the setters after a row apply to it.
class Rows {
public:
    Rows& flag(const std::string& spec, const std::string& description, unsigned readers) {
        return value(spec, K::Flag, "", description, readers);
    }
    Rows& value(const std::string& spec, OptionKind kind, const std::string& label, const std::string& description,
                unsigned readers) {
        OptionRow row;
        const size_t comma = spec.find(',');
        row.shortName = comma == std::string::npos ? "" : spec.substr(0, comma);
        row.name = comma == std::string::npos ? spec : spec.substr(comma + 1);
        row.label = label;
        row.description = description;
        row.kind = kind;
        row.readers = readers;
        rows_.push_back(row);
        return *this;
    }
    Rows& byDefault(const std::string& text) { return set([&](OptionRow& r) { r.defaultValue = text; }); }
    Rows& cmd(CmdField field) { return set([&](OptionRow& r) { r.cmdField = field; }); }
    Rows& group(const char* name) { return set([&](OptionRow& r) { r.group = name; }); }
    Rows& unit(const char* name) { return set([&](OptionRow& r) { r.unit = name; }); }
    Rows& hidden() { return set([&](OptionRow& r) { r.hidden = true; }); }

    std::vector<OptionRow> take() { return std::move(rows_); }

private:
    template <typename Change>
    Rows& set(Change change) {
        change(rows_.back());
        return *this;
    }

    std::vector<OptionRow> rows_;
};

void addFrameOptions(Rows& t) {
    const unsigned all = kByEntry | kByAnyAction;
    t.flag("h,help", "Print usage information", kByEntry);
    t.flag("debug", "Debug mode, output more debugging information", kByEntry);
    t.flag("info", "Show system, platform, and disk information. Could be used with arguments --diskid, and --out-ini", kByEntry);
    t.flag("exist", "Check if disk exists. Must used with arguments --diskid, --disksn, or --diskpattern", kByEntry);
    t.flag("rescan", "Rescan device by devcon", kByEntry);
    t.flag("enablepci", "Enable PCI device by devcon", kByEntry);
    t.flag("disablepci", "Disable PCI device by devcon", kByEntry);
    t.value("vid", K::Decimal, "VID", "Vendor ID of PCI device", kByEntry);
    t.value("did", K::Decimal, "DID", "Device ID of PCI device", kByEntry);
    t.flag("prechk", "Check if there is any problem as building the disk instance in advance", kByEntry);
    t.value("screenshot", K::OutPath, "path", "Make a screenshot", kByEntry);
    t.flag("disable-cmd", "Disable window close button and QuickEdit of all command prompts", kByEntry);
    // kept exactly: scripts match this text
    t.flag("enable-cmd", "Enalbe window close button and QuickEdit of all command prompts", kByEntry);
    t.value("suspend-proc", K::Text, "", "Suspend process by name", kByEntry);
    t.value("resume-proc", K::Text, "", "Resume process by name", kByEntry);
    t.value("commfile", K::HerePath, "filepath", "Disk config to be loaded, used for script concatenation",
            kByEntry | kByWkld | kBySmart)
        .byDefault(kDefaultActionResultJson);
    t.flag("init", "Flag for first initialization usage", kByEntry);
    t.flag("close_winio", "Going to close WinIo service", kByEntry);
    t.value("update-driver", K::Text, "inf path", "Update device driver", kByEntry);
    t.value("delete-driver", K::Text, "keyword", "Delete device driver", kByEntry);
    t.value("dump", K::OutPath, "path", "Dump bin file", kByCmd).cmd(F::Dump);
    t.value("a,action", K::Text, "pwr/rw/cmd/smart", "Name of action which is going to run", kByEntry);
    t.value("l,logfile", K::OutPath, "filepath", "Filepath of log file", kByEntry).group("output");
    t.value("logdir", K::InPath, "dir", "Output directory of log file", kByEntry | kByRw).group("output");
    t.value("d,diskid", K::Decimal, "ID", "Disk ID", all).byDefault("-1");
    t.value("p,pwrid", K::Decimal, "ID", "Power switch disk ID", kByPwr).byDefault("-1");
    t.value("disksn", K::Text, "SN", "Disk serial number for powering on recognition", all);
    t.value("diskpattern", K::Text, "pattern", "Disk pattern for powering on recognition", all);
    t.value("diskmodel", K::Text, "model", "Disk model", all);
    t.value("pwrmodel", K::Text, "model", "Power switch model", kByPwr);
    t.value("out-ini", K::OutPath, "filepath", "Output to ini file", kByEntry | kByPwr | kByRw | kByCmd | kBySmart)
        .byDefault(kDefaultOutputIni)
        .cmd(F::OutIni);
    t.value("out-log", K::OutPath, "filepath", "Output to log file", kBySmart);
    t.value("out-bin", K::OutPath, "filepath", "Output to binary file", kByRw | kByCmd | kBySmart)
        .byDefault(kDefaultOutputBin)
        .cmd(F::OutBin);
    t.value("out-csv", K::OutPath, "filepath", "Output to csv file", kBySmart);
    t.value("out_json", K::OutPath, "filepath", "Output to json file", all);
    t.value("in-bin", K::InPath, "filepath", "Input binary file to be compared or combined", kByRw | kByCmd).cmd(F::InBin);
    t.value("in-ini", K::InPath, "filepath", "Input ini file, usually including info to be compared", 0);
}

void addPowerOptions(Rows& t) {
    const PowerJob job;
    t.value("pwrctrl", K::Text, "on/off/measure/vol/gsd/ugsd/cpu/coldboot/reboot/s3/s4/d3hot", kPwrctrlHelp, kByPwr);
    t.value("vol", K::Text, "vol-condition", "Condition of voltage to be changed (EX: <3.6)", kByPwr);
    t.value("pwroffdelay", K::Amount, "delay", "Delay time after power off", kByPwr).unit("seconds");
    t.value("pwroffto", K::Amount, "timeout", "Timeout for retrying power disk off", kByPwr)
        .unit("seconds")
        .byDefault(amountText(job.offTimeoutSeconds));
    t.value("pwrondelay", K::Amount, "delay", "Delay time after power on", kByPwr).unit("seconds");
    t.value("pwronto", K::Amount, "timeout", "Timeout waiting for disk come back after power on", kByPwr)
        .unit("seconds")
        .byDefault(amountText(job.onTimeoutSeconds));
    t.value("sleepdelay", K::Number, "delay", "Delay time of S3/S4", kByPwr)
        .unit("seconds")
        .byDefault(amountText(job.sleepDelaySeconds));
    t.value("shortcycle", K::Number, "count", "Short cycle count", kByPwr);
    t.value("shortcycleintv", K::Number, "interval", "Short cycle power on/off interval in milliseconds", kByPwr)
        .unit("milliseconds");
    t.value("pwrtype", K::Text, "type", "Type of power switch", kByEntry | kByPwr);
    t.value("pwrcycle-retrycnt", K::Number, "count", "Max count to retry power cycle flow if disk is not back", kByPwr);
    t.value("pwrcmddelay", K::Amount, "delay", "Delay time after power off/on command", kByPwr).unit("seconds");
    t.flag("chk-hmb", "Check if HMB is enabled after power on", kByPwr);
}

void addIoOptions(Rows& t) {
    t.value("iotype", K::Text, "lba/file", "IO type", kByRw).byDefault("lba");
    t.value("rw", K::Text, "read/write/precondition/randwrite", "Read/Write mode", kByRw);
    t.value("start", K::Number, "", "Start LBA (unit: sector). default: 0", kByRw).unit("sectors");
    t.value("size", K::Number, "", "Count of LBA (unit: sector) or test coverage (0 for random [1%~100%], default: 100%)",
            kByRw)
        .unit("sectors; bytes with k/m/g; % of the disk")
        .byDefault("100%");
    t.value("bs", K::Number, "", "Block size (unit: bytes). 0 for rand (from size per LBA to 1MB); default: 128KiB", kByRw)
        .unit("bytes")
        .byDefault(std::to_string(kDefaultBlockBytes));
    // kept exactly: scripts match this text
    t.value("pattern", K::Text, "rand/fixed/zero", "Rread/Write pattern", kByRw).byDefault("fixed");
    // kept exactly: scripts match this text
    t.value("metadata", K::Text, "", "Metatdata of data to be written", kByRw);
    t.value("totalloop", K::Number, "", "Total loops of random r/w", kByRw);
    t.value("totaltime", K::Amount, "seconds", "Total time of random r/w", kByRw).unit("seconds");
    t.value("totalio", K::Number, "bytes", "Total IO amount of random r/w", kByRw).unit("bytes");
    t.value("qd", K::Number, "", "Queue depth", kByRw).byDefault("1");
    // kept exactly: scripts match this text (a flag although it names a number)
    t.flag("thread", "Thread number", kByRw);
    t.value("src", K::InPath, "", "Source path for file IO", kByRw);
    t.value("dest", K::InPath, "", "Destination path for file IO", kByRw);
    t.flag("formatd", "Going to format disk", kByEntry | kByRw);
    t.flag("cleand", "Going to clean disk", kByEntry | kByRw);
    t.flag("includedata", "Precondition size includes existing data capacity", kByRw);
    t.flag("freespace", "Consider free space rather than total size as precondition partitions", kByRw);
    t.value("seed", K::Number, "", "Seed of random read/write", kByRw);
    t.flag("dma", "Call by Write/Read DMA Ext command for SATA device; FUA write for NVMe", kByRw);
    // kept exactly: scripts match this text
    t.value("align", K::Number, "", "LAB alignment (unit: bytes); default non-aligned", kByRw).unit("bytes");
    t.value("section", K::Number, "", "Section size in sector for gap w/r", kByRw).unit("sectors");
    t.value("gap", K::Number, "", "Gap size in sector for gap w/r", kByRw).unit("sectors");
}

void addCommandOptions(Rows& t) {
    t.value("protocol", K::Text, "ata/scsi/nvme", "Command protocol", kByEntry | kByCmd).cmd(F::Protocol);
    t.value("io", K::Text, "in/out/none", "IO direction", kByCmd).cmd(F::Io);
    t.value("timeout", K::Amount, "", "Command timeout (in seconds)", kByRw | kByCmd).cmd(F::Timeout).unit("seconds");
    t.value("data", K::Text, "", "Output data of command", kByCmd).cmd(F::Data);
    t.value("datalen", K::Number, "", "Input length of data of command", kByCmd).cmd(F::DataLen).unit("bytes");
    t.value("feature", K::Number, "", "Feature of ATA command", kByCmd).cmd(F::Feature);
    t.value("lba", K::Number, "", "LBA of ATA command", kByCmd).cmd(F::Lba);
    t.value("device", K::Number, "", "Device Header of ATA command", kByCmd).cmd(F::Device);
    t.value("command", K::Number, "", "Command of ATA command", kByCmd).cmd(F::Command);
    t.value("status", K::Number, "", "Expected status of ATA command", kByCmd).cmd(F::Status);
    t.flag("48bit", "48-bit ATA command", kByCmd).cmd(F::Ata48);
    t.value("cdb", K::Text, "", "CDB of SCSI command", kByCmd).cmd(F::Cdb);
    t.value("opc", K::Number, "Opcode", "This field specifies the opcode of the command to be executed", kByCmd).cmd(F::Opc);
    t.value("ns", K::Number, "NSID", "This field indicates the namespace ID that this command applies to.", kByCmd)
        .cmd(F::Ns);
    for (int dword = 10; dword <= 15; ++dword)
        t.value("cdw" + std::to_string(dword), K::Number, "CDW" + std::to_string(dword),
                "This field is command specific Dword " + std::to_string(dword), kByCmd)
            .cmd(static_cast<CmdField>(static_cast<int>(F::Cdw10) + dword - 10));
    t.value("queue", K::Text, "admin/io", "Queue type", kByCmd).cmd(F::Queue);
    t.flag("trim", "Send TRIM command", kByCmd).cmd(F::Trim);
    t.flag("flush", "Send FLUSH command", kByCmd).cmd(F::Flush);
    t.flag("identify", "Send IDENTIFY command", kByCmd).cmd(F::Identify);
    t.value("dumptype", K::Text, "zero/rand/lba/identify/smart/logpage/identifyns", "Dump type", kByCmd).cmd(F::DumpType);
    t.value("dumpsize", K::Number, "", "Dump size, default sector size", kByCmd).cmd(F::DumpSize).unit("bytes");
    t.value("lid", K::List, "", "Log page ID", kByCmd | kBySmart).cmd(F::Lid);
    t.value("lpsize", K::List, "", "Log page size", kByCmd | kBySmart).cmd(F::LpSize).unit("bytes");
}

void addHostOptions(Rows& t) {
    t.flag("startup", "Register/Unregister start-up action", kByEntry);
    t.value("name", K::Text, "action_name", "Name of action", kByEntry);
    t.value("path", K::InPath, "filepath", "File to be executed", kByEntry | kByWkld);
    t.value("arg", K::Text, "arguments", "Arguments of execution command", kByEntry);
    t.value("smart-config", K::InPath, "", "Configuration file of SMART", kByPwr | kBySmart)
        .byDefault(SmartJob().configPath);
    t.value("prev-smart-bin", K::InPath, "filepath", "Previous SMART data to be compared", kBySmart);
    t.value("init-smart-bin", K::InPath, "filepath", "First SMART data to be compared", kBySmart);
    t.flag("monitor", "Monitor PCIe link status", kByEntry);
    t.flag("analyze", "Analyze workload file", kByWkld);
}

// Added after the declared table and left out of help, which stays as
// scripts know it.
void addToolOptions(Rows& t) {
    t.flag("version", "Print the tool's version and source revision", kByEntry).hidden();
    t.value("usage", K::Text, "ACTION", "Print the options an action reads, with their units and defaults", kByEntry)
        .hidden();
}

std::vector<OptionRow> makeTable() {
    Rows rows;
    addFrameOptions(rows);
    addPowerOptions(rows);
    addIoOptions(rows);
    addCommandOptions(rows);
    addHostOptions(rows);
    addToolOptions(rows);
    return rows.take();
}

const std::pair<const char*, unsigned> kActions[] = {
    {"pwr", kByPwr}, {"rw", kByRw}, {"cmd", kByCmd}, {"wkld", kByWkld}, {"smart", kBySmart}};

unsigned readerOfAction(const std::string& action) {
    for (const auto& [name, reader] : kActions)
        if (action == name) return reader;
    return 0;
}

void declare(cxxopts::Options& options, const OptionRow& row) {
    const std::string spec = row.shortName.empty() ? row.name : row.shortName + "," + row.name;
    const std::string group = row.hidden ? kHiddenGroup : row.group;
    if (row.kind == OptionKind::Flag)
        options.add_options(group)(spec, row.description);
    else
        options.add_options(group)(spec, row.description, cxxopts::value<std::string>(), row.label);
}

}  // namespace

const std::vector<OptionRow>& optionTable() {
    static const std::vector<OptionRow> table = makeTable();
    return table;
}

const OptionRow* findOption(const std::string& name) {
    for (const OptionRow& row : optionTable())
        if (row.name == name) return &row;
    return nullptr;
}

std::vector<std::string> actionNames() {
    std::vector<std::string> names;
    for (const auto& action : kActions) names.push_back(action.first);
    return names;
}

std::vector<std::string> optionsOfAction(const std::string& action) {
    const unsigned reader = readerOfAction(action);
    std::vector<std::string> names;
    for (const OptionRow& row : optionTable())
        if (row.readers & reader) names.push_back(row.name);
    return names;
}

std::unique_ptr<cxxopts::Options> makeOptions() {
    auto options = std::make_unique<cxxopts::Options>("ZelCli.exe", " - ZEL KTV command line tool");
    for (const OptionRow& row : optionTable()) declare(*options, row);
    return options;
}

std::string helpText(const cxxopts::Options& options) {
    std::set<std::string> groups;  // in the order cxxopts keeps them
    for (const OptionRow& row : optionTable())
        if (!row.hidden) groups.insert(row.group);
    return options.help(std::vector<std::string>(groups.begin(), groups.end()));
}

ParseResult parseCommandLine(cxxopts::Options& options, int argc, const char* const* argv) {
    cxxopts::ParseResult parsed = options.parse(argc, argv);
    std::vector<std::pair<std::string, std::string>> values;
    for (const cxxopts::KeyValue& kv : parsed.arguments()) values.emplace_back(kv.key(), kv.value());
    return ParseResult(std::move(values), parsed.unmatched());
}

}  // namespace zel
