#include "app/OptionTable.h"

namespace zel {
namespace {

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

class Declarer {
public:
    explicit Declarer(cxxopts::Options& options) : options_(options) {}

    void flag(const std::string& name, const std::string& description) {
        options_.add_options()(name, description);
    }

    void value(const std::string& name, const std::string& label, const std::string& description,
               const std::string& group = "") {
        options_.add_options(group)(name, description, cxxopts::value<std::string>(), label);
    }

private:
    cxxopts::Options& options_;
};

void declareFrameOptions(Declarer& d) {
    d.flag("h,help", "Print usage information");
    d.flag("debug", "Debug mode, output more debugging information");
    d.flag("info", "Show system, platform, and disk information. Could be used with arguments --diskid, and --out-ini");
    d.flag("exist", "Check if disk exists. Must used with arguments --diskid, --disksn, or --diskpattern");
    d.flag("rescan", "Rescan device by devcon");
    d.flag("enablepci", "Enable PCI device by devcon");
    d.flag("disablepci", "Disable PCI device by devcon");
    d.value("vid", "VID", "Vendor ID of PCI device");
    d.value("did", "DID", "Device ID of PCI device");
    d.flag("prechk", "Check if there is any problem as building the disk instance in advance");
    d.value("screenshot", "path", "Make a screenshot");
    d.flag("disable-cmd", "Disable window close button and QuickEdit of all command prompts");
    d.flag("enable-cmd", "Enalbe window close button and QuickEdit of all command prompts");
    d.value("suspend-proc", "", "Suspend process by name");
    d.value("resume-proc", "", "Resume process by name");
    d.value("commfile", "filepath", "Disk config to be loaded, used for script concatenation");
    d.flag("init", "Flag for first initialization usage");
    d.flag("close_winio", "Going to close WinIo service");
    d.value("update-driver", "inf path", "Update device driver");
    d.value("delete-driver", "keyword", "Delete device driver");
    d.value("dump", "path", "Dump bin file");
    d.value("a,action", "pwr/rw/cmd/smart", "Name of action which is going to run");
    d.value("l,logfile", "filepath", "Filepath of log file", "output");
    d.value("logdir", "dir", "Output directory of log file", "output");
    d.value("d,diskid", "ID", "Disk ID");
    d.value("p,pwrid", "ID", "Power switch disk ID");
    d.value("disksn", "SN", "Disk serial number for powering on recognition");
    d.value("diskpattern", "pattern", "Disk pattern for powering on recognition");
    d.value("diskmodel", "model", "Disk model");
    d.value("pwrmodel", "model", "Power switch model");
    d.value("out-ini", "filepath", "Output to ini file");
    d.value("out-log", "filepath", "Output to log file");
    d.value("out-bin", "filepath", "Output to binary file");
    d.value("out-csv", "filepath", "Output to csv file");
    d.value("out_json", "filepath", "Output to json file");
    d.value("in-bin", "filepath", "Input binary file to be compared or combined");
    d.value("in-ini", "filepath", "Input ini file, usually including info to be compared");
}

void declarePowerOptions(Declarer& d) {
    d.value("pwrctrl", "on/off/measure/vol/gsd/ugsd/cpu/coldboot/reboot/s3/s4/d3hot", kPwrctrlHelp);
    d.value("vol", "vol-condition", "Condition of voltage to be changed (EX: <3.6)");
    d.value("pwroffdelay", "delay", "Delay time after power off");
    d.value("pwroffto", "timeout", "Timeout for retrying power disk off");
    d.value("pwrondelay", "delay", "Delay time after power on");
    d.value("pwronto", "timeout", "Timeout waiting for disk come back after power on");
    d.value("sleepdelay", "delay", "Delay time of S3/S4");
    d.value("shortcycle", "count", "Short cycle count");
    d.value("shortcycleintv", "interval", "Short cycle power on/off interval in milliseconds");
    d.value("pwrtype", "type", "Type of power switch");
    d.value("pwrcycle-retrycnt", "count", "Max count to retry power cycle flow if disk is not back");
    d.value("pwrcmddelay", "delay", "Delay time after power off/on command");
    d.flag("chk-hmb", "Check if HMB is enabled after power on");
}

void declareIoOptions(Declarer& d) {
    d.value("iotype", "lba/file", "IO type");
    d.value("rw", "read/write/precondition/randwrite", "Read/Write mode");
    d.value("start", "", "Start LBA (unit: sector). default: 0");
    d.value("size", "", "Count of LBA (unit: sector) or test coverage (0 for random [1%~100%], default: 100%)");
    d.value("bs", "", "Block size (unit: bytes). 0 for rand (from size per LBA to 1MB); default: 128KiB");
    d.value("pattern", "rand/fixed/zero", "Rread/Write pattern");
    d.value("metadata", "", "Metatdata of data to be written");
    d.value("totalloop", "", "Total loops of random r/w");
    d.value("totaltime", "seconds", "Total time of random r/w");
    d.value("totalio", "bytes", "Total IO amount of random r/w");
    d.value("qd", "", "Queue depth");
    d.flag("thread", "Thread number");  // a flag although it names a number: kept as declared
    d.value("src", "", "Source path for file IO");
    d.value("dest", "", "Destination path for file IO");
    d.flag("formatd", "Going to format disk");
    d.flag("cleand", "Going to clean disk");
    d.flag("includedata", "Precondition size includes existing data capacity");
    d.flag("freespace", "Consider free space rather than total size as precondition partitions");
    d.value("seed", "", "Seed of random read/write");
    d.flag("dma", "Call by Write/Read DMA Ext command for SATA device; FUA write for NVMe");
    d.value("align", "", "LAB alignment (unit: bytes); default non-aligned");
    d.value("section", "", "Section size in sector for gap w/r");
    d.value("gap", "", "Gap size in sector for gap w/r");
}

void declareCommandOptions(Declarer& d) {
    d.value("protocol", "ata/scsi/nvme", "Command protocol");
    d.value("io", "in/out/none", "IO direction");
    d.value("timeout", "", "Command timeout (in seconds)");
    d.value("data", "", "Output data of command");
    d.value("datalen", "", "Input length of data of command");
    d.value("feature", "", "Feature of ATA command");
    d.value("lba", "", "LBA of ATA command");
    d.value("device", "", "Device Header of ATA command");
    d.value("command", "", "Command of ATA command");
    d.value("status", "", "Expected status of ATA command");
    d.flag("48bit", "48-bit ATA command");
    d.value("cdb", "", "CDB of SCSI command");
    d.value("opc", "Opcode", "This field specifies the opcode of the command to be executed");
    d.value("ns", "NSID", "This field indicates the namespace ID that this command applies to.");
    for (int dword = 10; dword <= 15; ++dword)
        d.value("cdw" + std::to_string(dword), "CDW" + std::to_string(dword),
                "This field is command specific Dword " + std::to_string(dword));
    d.value("queue", "admin/io", "Queue type");
    d.flag("trim", "Send TRIM command");
    d.flag("flush", "Send FLUSH command");
    d.flag("identify", "Send IDENTIFY command");
    d.value("dumptype", "zero/rand/lba/identify/smart/logpage/identifyns", "Dump type");
    d.value("dumpsize", "", "Dump size, default sector size");
    d.value("lid", "", "Log page ID");
    d.value("lpsize", "", "Log page size");
}

void declareHostOptions(Declarer& d) {
    d.flag("startup", "Register/Unregister start-up action");
    d.value("name", "action_name", "Name of action");
    d.value("path", "filepath", "File to be executed");
    d.value("arg", "arguments", "Arguments of execution command");
    d.value("smart-config", "", "Configuration file of SMART");
    d.value("prev-smart-bin", "filepath", "Previous SMART data to be compared");
    d.value("init-smart-bin", "filepath", "First SMART data to be compared");
    d.flag("monitor", "Monitor PCIe link status");
    d.flag("analyze", "Analyze workload file");
}

}  // namespace

std::unique_ptr<cxxopts::Options> makeOptions() {
    auto options = std::make_unique<cxxopts::Options>("ZelCli.exe", " - ZEL KTV command line tool");
    Declarer declarer(*options);
    declareFrameOptions(declarer);
    declarePowerOptions(declarer);
    declareIoOptions(declarer);
    declareCommandOptions(declarer);
    declareHostOptions(declarer);
    return options;
}

ParseResult parseCommandLine(cxxopts::Options& options, int argc, const char* const* argv) {
    cxxopts::ParseResult parsed = options.parse(argc, argv);
    std::vector<std::pair<std::string, std::string>> values;
    for (const cxxopts::KeyValue& kv : parsed.arguments()) values.emplace_back(kv.key(), kv.value());
    return ParseResult(std::move(values));
}

}  // namespace zel
