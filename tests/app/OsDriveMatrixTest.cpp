// The OS drive is never changed: every path that writes, trims, erases,
// formats or cuts power is refused on it with 0x20000005 before anything
// reaches it, whatever its bus and route; the paths that only read still run.
// A row runs ZelCli.exe once per OS drive kind it names, each time against a
// fresh virtual host whose disk 0 holds the Windows folder's letter; the
// host's own record of the disk (its image, trimmed ranges, counters, the
// power board's log, the tools it started) is compared before and after.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "core/TextFormat.h"
#include "tests/io/Sha256.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/StandInControl.h"
#include "tests/support/TempDir.h"

namespace {

using nlohmann::json;
using zeltest::contains;

constexpr uint32_t kOsDriveCode = 0x20000005;

// The OS drive's kinds, as bits so that a row names the kinds it applies to.
enum Kind : unsigned {
    kSata = 1u << 0, kNvmeInbox = 1u << 1, kNvmeRst = 1u << 2, kNvmeMiniport = 1u << 3,
    kUsbSat = 1u << 4, kUsbStick = 1u << 5, kJMicron = 1u << 6, kSataWindowsSecond = 1u << 7,
};
constexpr unsigned kAta = kSata | kSataWindowsSecond;
constexpr unsigned kNvmeRoutes = kNvmeInbox | kNvmeRst | kNvmeMiniport;
constexpr unsigned kNvmeCommands = kNvmeRoutes | kJMicron;  // the bridge through its tunnel
constexpr unsigned kUsb = kUsbSat | kUsbStick | kJMicron;
constexpr unsigned kAll = 0xFF;

struct OsDrive {
    Kind kind;
    const char* name;
    const char* fields;  // disk 0's description besides number, serial, size and volumes
    const char* volumes = R"([{"letter": "C", "totalBytes": "1m", "freeBytes": "512k"}])";
};

const OsDrive kOsDrives[] = {
    {kSata, "SATA", R"("busType": 11, "model": "OS SATA", "driver": {"provider": "Microsoft"}, "scsiAddress": {"port": 0})"},
    {kNvmeInbox, "NVMe inbox",
     R"("busType": 17, "vendor": "NVMe", "model": "OS NVMe Inbox", "driver": {"provider": "Microsoft"},
        "scsiAddress": {"port": 0}, "pci": {"vendorId": "0x1AB2", "deviceId": "0x0101"})"},
    {kNvmeRst, "NVMe RST",
     R"("busType": 8, "model": "OS NVMe RST", "driver": {"provider": "Intel Corporation"},
        "scsiAddress": {"port": 0, "path": 1, "target": 0}, "pci": {"vendorId": "0x1AB2"})"},
    {kNvmeMiniport, "NVMe miniport",
     R"("busType": 17, "model": "OS NVMe Mini", "driver": {"provider": "Other Vendor"}, "scsiAddress": {"port": 0},
        "pci": {"vendorId": "0x1AB2"})"},
    {kUsbSat, "USB SAT bridge",
     R"("busType": 7, "vendor": "Bridge", "model": "SATA Enclosure", "satBridge": true, "scsiAddress": {"port": 0})"},
    {kUsbStick, "USB stick", R"("busType": 7, "vendor": "Stick", "model": "USB DISK", "scsiAddress": {"port": 0})"},
    {kJMicron, "JMicron NVMe bridge",
     R"("busType": 7, "vendor": "JMicron", "model": "Generic USB", "trim": {"supported": true}, "scsiAddress": {"port": 0})"},
    // Windows on the disk's second partition (the host puts it on D), a data
    // volume first.
    {kSataWindowsSecond, "SATA, Windows on its second volume",
     R"("busType": 11, "model": "OS SATA Two", "driver": {"provider": "Microsoft"}, "scsiAddress": {"port": 0})",
     R"([{"letter": "C", "totalBytes": "256k", "freeBytes": "128k"},
         {"letter": "D", "totalBytes": "1m", "freeBytes": "512k"}])"},
};

// Disk 0 the OS drive, disk 1 the PCIe power board that feeds it. The NVMe
// drives answer the write-and-trim vendor command, so that mode would write.
std::string hostDescription(const OsDrive& drive) {
    const std::string writeTrim =
        drive.kind & kNvmeRoutes
            ? R"(, "writeTrimRanges": [{"lba": 0, "sectors": 8, "op": "write"}, {"lba": 8, "sectors": 8, "op": "trim"}])"
            : "";
    const std::string windows = drive.kind == kSataWindowsSecond ? R"("windowsLetter": "D", )" : "";
    return "{" + windows + R"("toolsFolder": ")" + zeltest::StandInControl::toolsFolder() + R"(", "disks": [
  {"number": 0, "serial": "OS0", "sectorCount": 2048, )" + drive.fields + writeTrim + R"(, "volumes": )" +
           drive.volumes + R"(},
  {"number": 1, "busType": 7, "model": "HXPWR410 Virtual", "firmware": "2.10", "serial": "PB1", "sectorCount": 64,
   "scsiAddress": {"port": 1}}],
 "powerSwitches": [{"kind": "PcieHX410V2", "disk": 1, "powers": [0]}]})";
}

using Row = std::pair<const char*, unsigned>;  // arguments, the OS drive kinds it runs on

// What the host keeps of the OS drive and of what acts on it, by name, so
// that a difference says what changed.
using HostRecord = std::map<std::string, std::string>;

class OsDriveMatrix : public testing::Test {
protected:
    // Each row runs on disk 0 once per OS drive kind it names, against a fresh host.
    // Refused: 0x20000005, no SUCCESS line and no trace. Allowed: 0 and no
    // trace but the files a precondition adds on the volumes (the disk stays).
    void expect(const std::vector<Row>& rows, bool refused) {
        for (const auto& [args, kinds] : rows)
            for (const OsDrive& drive : kOsDrives) {
                if (!(kinds & drive.kind)) continue;
                zeltest::TempDir dir;
                zeltest::StandInControl tools;
                prepare(dir, drive);
                HostRecord before = record(dir, tools);
                const zeltest::ChildResult result = zeltest::runZelCli(
                    std::string(args) + " -d 0 --logdir \"" + dir.path() + "\" --logfile run.log", dir.path(),
                    {"ZELCLI_VHOST=" + dir.file("host.json"), tools.environment()});
                HostRecord after = record(dir, tools);
                if (!refused) before.erase("volume files"), after.erase("volume files");
                const std::string changed = differences(before, after);
                const bool success = refused && contains(result.output, "SUCCESS");
                const uint32_t code = refused ? kOsDriveCode : 0;
                if (result.exitCode == code && changed.empty() && !success) continue;
                ADD_FAILURE() << "[" << drive.name << "] " << args << "\n  exit " << hex(result.exitCode)
                              << ", expected " << hex(code) << (success ? "; a SUCCESS line" : "")
                              << (changed.empty() ? "" : "; changed: " + changed) << "\n"
                              << result.output;
            }
    }

private:
    static std::string hex(uint32_t code) { return zel::formatText("0x%08X", code); }

    static std::string state(const zeltest::TempDir& dir, const std::string& n) { return dir.file("host.json.state\\" + n); }

    // The host, a known image of the OS drive's first 128 KiB (so a write
    // anywhere changes its digest or its length), and the files the rows use.
    static void prepare(const zeltest::TempDir& dir, const OsDrive& drive) {
        std::ofstream(dir.file("host.json"), std::ios::binary) << hostDescription(drive);
        std::filesystem::create_directories(state(dir, "volumes\\C"));
        std::string image(128 * 1024, '\0');
        uint32_t x = 0x2545F491;
        for (char& c : image) c = static_cast<char>((x = x * 1103515245 + 12345) >> 24);
        std::ofstream(state(dir, "disk0.img"), std::ios::binary) << image;
        std::ofstream(state(dir, "volumes\\C\\src.bin"), std::ios::binary) << std::string(4096, 'S');
        std::ofstream(dir.file("sector.bin"), std::ios::binary) << std::string(512, '\x5A');
        // 8 blocks at LBA 8: an ATA DATA SET MANAGEMENT entry, an NVMe Dataset
        // Management range, an UNMAP parameter list of one descriptor.
        std::ofstream(dir.file("dsm.bin"), std::ios::binary) << bytes(512, {{0, 8}, {6, 8}});
        std::ofstream(dir.file("range.bin"), std::ios::binary) << bytes(16, {{4, 8}, {8, 8}});
        std::ofstream(dir.file("unmap.bin"), std::ios::binary) << bytes(24, {{1, 22}, {3, 16}, {15, 8}, {19, 8}});
        std::ofstream(dir.file("wl.txt"), std::ios::binary) << "$write 8 8\r\n$trims 16 8\r\n$flush\r\n";
    }

    static std::string bytes(size_t size, std::initializer_list<std::pair<size_t, char>> set) {
        std::string data(size, '\0');
        for (const auto& [at, value] : set) data[at] = value;
        return data;
    }

    static std::string counters(const zeltest::TempDir& dir) {
        json all = json::parse(zeltest::readFile(state(dir, "counters.json")), nullptr, false);
        if (!all.is_object()) all = json::object();
        json seen;
        for (const std::string disk : {"0", "1"}) {
            const json values = all.value(json::json_pointer("/disks/" + disk), json::object());
            for (const std::string key : {"powered", "powerCycles", "unsafeShutdowns", "bytesWritten", "writeCommands",
                                          "boardMillivolts"})
                seen[disk][key] = values.value(key, key == "powered" ? json(true) : json(0));
        }
        return seen.dump();
    }

    static std::string volumeFiles(const zeltest::TempDir& dir) {
        std::set<std::string> names;
        std::error_code error;
        for (auto it = std::filesystem::recursive_directory_iterator(state(dir, "volumes"), error);
             !error && it != std::filesystem::recursive_directory_iterator(); it.increment(error))
            names.insert(it->path().string() + (it->is_regular_file() ? " " + std::to_string(it->file_size()) : "/"));
        return json(names).dump();
    }

    static HostRecord record(const zeltest::TempDir& dir, const zeltest::StandInControl& tools) {
        const std::string image = zeltest::readFile(state(dir, "disk0.img"));
        return {
            {"image", testing_sha256::sha256Hex(image.data(), image.size())},
            {"trimmed ranges", zeltest::readFile(state(dir, "disk0.trim"))},
            {"unflushed writes", zeltest::readFile(state(dir, "disk0.unflushed"))},
            {"write and power counters", counters(dir)},
            {"power-switch commands", zeltest::readFile(state(dir, "power-switches.log"))},
            {"power events", zeltest::readFile(state(dir, "power-events.log"))},
            {"system changes", zeltest::readFile(state(dir, "system.json"))},
            {"volume files", volumeFiles(dir)},
            {"tools started", json(tools.calls()).dump()},
        };
    }

    static std::string differences(const HostRecord& before, const HostRecord& after) {
        std::string names;
        for (const auto& [name, value] : before)
            if (after.at(name) != value) names += (names.empty() ? "" : ", ") + name;
        return names;
    }
};

}  // namespace

// A path whose refusal does not depend on the drive's kind runs on a few
// kinds, each kind on some; the kind-dependent ones (routes, flows) on each.
TEST_F(OsDriveMatrix, ChangesAreRefusedAndReadsStillRun) {
    expect({
        {"-a rw --size 64 --rw write", kAll},
        {"-a rw --size 64 --rw randwrite --bs 4k --totalloop 1", kNvmeRst | kUsbStick},
        {"-a rw --size 64 --rw gapwrite --section 8 --gap 8 --bs 4k", kNvmeInbox | kSataWindowsSecond},
        {"-a rw --size 64 --rw trim", kSata | kNvmeMiniport | kUsbSat},
        {"-a rw --size 64 --rw randtrim --bs 4k", kNvmeInbox | kJMicron},
        {"-a rw --size 64 --rw vucmdwrtrim", kNvmeInbox | kNvmeMiniport},
        // Copy files writes on the disk's volume; format and clean take its volumes away.
        {"-a rw --rw write --iotype file --src C:\\src.bin", kSata | kSataWindowsSecond},
        {"--formatd -a rw --rw precondition --iotype file", kUsbStick},
        {"--cleand -a rw --rw precondition --iotype file", kNvmeRst},
        {"--formatd", kSata | kJMicron},
        {"--cleand", kNvmeInbox | kSataWindowsSecond},
        {"-a wkld --path wl.txt", kSata | kUsbSat | kSataWindowsSecond},
        // ATA on the drive's own route: writes, trim, microcode, security erase, sanitize.
        {"-a cmd --command 0x35 --48bit --lba 8 --device 0x40 --io out --in-bin sector.bin", kAta},
        {"-a cmd --command 0x30 --lba 8 --device 0x40 --io out --in-bin sector.bin", kSata},
        {"-a cmd --command 0x06 --feature 1 --48bit --device 0x40 --io out --in-bin dsm.bin", kSata},
        {"-a cmd --command 0x92 --feature 0x07 --io out --in-bin sector.bin", kSata},
        {"-a cmd --command 0xF4 --io out --in-bin sector.bin", kSata},
        {"-a cmd --command 0xB4 --48bit --feature 0x12 --lba 0x426B4572 --device 0x40", kSata},
        {"-a cmd --command 0xE0", kSata},
        {"-a cmd --protocol scsi --cdb \"1B 00 00 00 00 00\"", kUsbSat | kUsbStick},
        // The trim shortcut on each route's own trim.
        {"-a cmd --trim --lba 8 --datalen 4096", kAll & ~(kUsbStick | kSataWindowsSecond)},
        {"-a cmd --protocol nvme --trim --lba 8 --datalen 4096", kJMicron},
        // SCSI reaches every disk; the SAT bridge takes the whole set.
        {"-a cmd --protocol scsi --cdb \"2A 00 00 00 00 08 00 00 01 00\" --io out --in-bin sector.bin", kAll},
        {"-a cmd --protocol scsi --cdb \"85 0B 06 00 00 00 01 00 08 00 00 00 00 40 34 00\" --io out "
         "--in-bin sector.bin", kUsbSat | kSata},
        {"-a cmd --protocol scsi --cdb \"A1 0A 06 00 01 08 00 00 40 30 00 00\" --io out --in-bin sector.bin", kUsbSat},
        {"-a cmd --protocol scsi --cdb \"8A 00 00 00 00 00 00 00 00 08 00 00 00 01 00 00\" --io out "
         "--in-bin sector.bin", kUsbSat},
        {"-a cmd --protocol scsi --cdb \"04 00 00 00 00 00\"", kUsbSat | kUsbStick | kJMicron},
        {"-a cmd --protocol scsi --cdb \"48 02 00 00 00 00 00 00 00 00\"", kUsbSat},
        {"-a cmd --protocol scsi --cdb \"42 00 00 00 00 00 00 00 18 00\" --io out --in-bin unmap.bin", kUsbSat},
        {"-a cmd --protocol scsi --cdb \"41 00 00 00 00 08 00 00 08 00\" --io out --in-bin sector.bin", kUsbSat},
        {"-a cmd --protocol scsi --cdb \"93 00 00 00 00 00 00 00 00 08 00 00 00 08 00 00\" --io out "
         "--in-bin sector.bin", kUsbSat},
        // NVMe: the miniport route takes the whole set, every route a write and a format.
        {"-a cmd --protocol nvme --opc 1 --queue io --ns 1 --cdw10 8 --io out --in-bin sector.bin", kNvmeCommands},
        {"-a cmd --protocol nvme --opc 0x80 --ns 1", kNvmeCommands},
        {"-a cmd --protocol nvme --opc 8 --queue io --ns 1 --cdw10 8 --cdw12 7", kNvmeMiniport},
        {"-a cmd --protocol nvme --opc 4 --queue io --ns 1 --cdw10 8", kNvmeMiniport},
        {"-a cmd --protocol nvme --opc 9 --queue io --ns 1 --cdw11 4 --io out --in-bin range.bin",
         kNvmeMiniport | kJMicron},
        {"-a cmd --protocol nvme --opc 0x84 --cdw10 2", kNvmeMiniport | kNvmeRst},
        {"-a cmd --protocol nvme --opc 0x11 --cdw10 127 --io out --in-bin sector.bin", kNvmeMiniport},
        {"-a cmd --protocol nvme --opc 0x10 --cdw10 9", kNvmeMiniport | kNvmeInbox},
        {"-a cmd --protocol nvme --opc 0xC1 --ns 1 --io out --in-bin sector.bin", kNvmeMiniport | kNvmeInbox},
        // Board-only controls (off, vol) on a few kinds; the flows once per
        // flow family (SATA, NVMe, USB); d3hot on every NVMe route.
        {"-a pwr --pwrid 1 --pwrctrl off", kSata | kNvmeInbox | kUsbStick},
        {"-a pwr --pwrid 1 --pwrctrl vol --vol 3.3", kNvmeRst | kJMicron},
        {"-a pwr --pwrid 1 --pwrctrl gsd --pwroffto 2 --pwronto 2", kSata | kNvmeMiniport | kUsbSat},
        {"-a pwr --pwrid 1 --pwrctrl ugsd --pwroffto 2 --pwronto 2", kNvmeInbox | kJMicron},
        {"-a pwr --pwrid 1 --pwrctrl ugsd --shortcycle 2 --shortcycleintv 10 --pwroffto 2 --pwronto 2",
         kNvmeRst | kSataWindowsSecond},
        {"-a pwr --pwrid 1 --pwrctrl d3hot --sleepdelay 1", kNvmeRoutes | kSata},
    }, true);
    // Without these the refusals above could pass by refusing everything.
    expect({
        {"-a rw --size 64 --rw read", kAll},
        {"-a rw --size 64 --rw randread --bs 4k", kNvmeRst},
        // Precondition only adds files on the volumes.
        {"-a rw --rw precondition --iotype file --includedata", kSata | kSataWindowsSecond},
        {"-a cmd --identify", kSata | kNvmeInbox | kUsbStick | kJMicron},
        {"-a cmd --flush", kSata | kNvmeInbox | kNvmeRst | kUsbSat},
        {"-a cmd --dumptype lba --lba 8 --dumpsize 512 --dump lba.bin", kNvmeMiniport},
        {"-a cmd --protocol scsi --cdb \"28 00 00 00 00 08 00 00 01 00\" --io in --datalen 512", kUsbSat | kUsbStick},
        {"-a cmd --command 0x25 --48bit --lba 8 --device 0x40 --io in --datalen 512", kSata},
        {"-a cmd --command 0xB0 --feature 0xD0 --lba 0xC24F00 --io in --datalen 512", kSata},
        {"-a cmd --protocol nvme --opc 2 --queue io --ns 1 --cdw10 8 --io in --datalen 512", kNvmeMiniport | kJMicron},
        {"-a cmd --protocol nvme --opc 2 --ns 0xFFFFFFFF --cdw10 0x007F0002 --io in --datalen 512",
         kNvmeInbox | kJMicron},
        {"-a cmd --protocol nvme --opc 0x0A --cdw10 7 --io in --datalen 4", kNvmeInbox | kNvmeRst},
    }, false);
}
