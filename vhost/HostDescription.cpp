#include "vhost/HostDescription.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <initializer_list>
#include <sstream>

#include "core/TextFormat.h"
#include "vhost/JsonReader.h"

namespace zel {
namespace vhost {
namespace {

using nlohmann::json;
using Reader = JsonReader;

constexpr uint64_t kMaxDiskNumber = 0x7FFFFFFF;
// DiskSize and file offsets are signed 64-bit values on Windows.
constexpr uint64_t kMaxCapacity = 0x7FFFFFFFFFFFFFFF;
constexpr uint64_t kMaxSmartRaw = 0xFFFFFFFFFFFF;  // six bytes
constexpr uint64_t kMaxLatencyMicros = 60000000;
constexpr uint16_t kZeroCelsiusKelvin = 273;
constexpr size_t kSmartTableEntries = 30;
// Larger than any page the host generates; keeps a typo from asking for gigabytes.
constexpr uint64_t kMaxLogPageBytes = 1 << 20;
// A thousand years: time stamps stay far from overflowing.
constexpr uint64_t kMaxClockOffsetSeconds = 1000ull * 366 * 24 * 3600;
constexpr uint32_t kErrorWriteFault = 29;  // ERROR_WRITE_FAULT
// The 4096-byte answer holds an 8-byte head and 16-byte entries.
constexpr size_t kMaxWriteTrimRanges = (4096 - 8) / 16;
constexpr uint64_t kMaxPowerOnDelayMs = 600000;
// What the PCIe board's measurement registers can hold: 16 bits of 1.25 mV
// on the bus, 16 bits of 2.5 uV across the 0.02-ohm shunt.
constexpr uint64_t kMaxBoardMillivolts = 80000;
constexpr uint64_t kMaxBoardMilliamps = 8000;

// Calls read(entry, where) for each entry of the list under key, which must
// be an object. Entries of top-level lists are named without "host.".
template <typename Read>
void readList(Reader& in, const json& parent, const std::string& key, const std::string& where, Read read) {
    const json* list = in.array(parent, key, where);
    if (!list) return;
    const std::string prefix = where == "host" ? key : where + "." + key;
    for (size_t i = 0; i < list->size(); ++i) {
        const std::string at = prefix + "[" + std::to_string(i) + "]";
        if (const json* entry = in.asObject((*list)[i], at)) read(*entry, at);
    }
}

// Keys that are numbers in the tool's syntax ("217", "0xC0"), at most max.
bool numberKey(Reader& in, const std::string& key, uint64_t max, const std::string& where, uint64_t* value) {
    std::string problem;
    if (!parseUnsignedText(key, value, &problem)) {
        in.fail(where, problem);
        return false;
    }
    if (*value <= max) return true;
    in.fail(where, key + " is outside 0.." + std::to_string(max));
    return false;
}

bool oneOf(const std::string& value, std::initializer_list<const char*> allowed) {
    for (const char* known : allowed)
        if (value == known) return true;
    return false;
}

std::string defaultInterface(uint32_t busType) {
    if (busType == 3 || busType == 11) return "ata";
    if (busType == 17 || busType == 8) return "nvme";
    return "scsi";
}

// No provider means the inbox driver, which the tool also assumes then.
std::string defaultNvmeRoute(const std::string& provider) {
    if (provider.empty() || provider.find("Microsoft") != std::string::npos) return "stornvme";
    if (provider.find("Intel") != std::string::npos) return "irst";
    return "miniport";
}

// The tool gives a disk the driver of the controller whose id its own id
// contains, so a default id ends in a delimiter: no id is part of another.
std::string defaultControllerId(const DiskDescription& disk) {
    if (disk.pci.present)
        return formatText("PCI\\VEN_%04X&DEV_%04X\\4&%X&0&00E8", disk.pci.vendorId, disk.pci.deviceId,
                          static_cast<unsigned>(disk.number) + 1);
    return formatText("VHOST\\CONTROLLER\\%d&0", disk.number);
}

char readWindowsLetter(Reader& in, const json& root) {
    const std::string letter = in.text(root, "windowsLetter", "", "host");
    if (letter.empty()) return 0;
    if (letter.size() != 1 || !std::isalpha(static_cast<unsigned char>(letter[0]))) {
        in.fail("host.windowsLetter", "expected one drive letter");
        return 0;
    }
    return static_cast<char>(std::toupper(static_cast<unsigned char>(letter[0])));
}

void readIdentity(Reader& in, const json& disk, const std::string& where, DiskDescription* out) {
    out->number = static_cast<int>(in.number(disk, "number", 0, where, kMaxDiskNumber));
    out->busType = in.field<uint8_t>(disk, "busType", 11, where);
    out->vendor = in.text(disk, "vendor", "", where);
    out->model = in.text(disk, "model", "", where);
    out->firmware = in.text(disk, "firmware", "", where);
    out->serial = in.text(disk, "serial", "", where);
    out->deviceInterface = in.text(disk, "interface", defaultInterface(out->busType), where);
    if (!out->isAta() && !out->isNvme() && !out->isScsi()) in.fail(where + ".interface", "expected ata, nvme or scsi");
    out->satBridge = in.flag(disk, "satBridge", false, where);
    out->satStrict = in.flag(disk, "satStrict", false, where);
    const bool jmicron = out->busType == 7 && out->vendor == "JMicron" && out->model == "Generic USB";
    out->nvmeBridge = in.flag(disk, "nvmeBridge", jmicron && !out->satBridge, where);
    if (out->nvmeBridge && (out->satBridge || !out->isScsi()))
        in.fail(where + ".nvmeBridge", "a USB bridge to an NVMe drive: needs interface scsi and no satBridge");
    out->absent = in.flag(disk, "absent", false, where);
}

void readSectorSizes(Reader& in, const json& disk, const std::string& where, DiskDescription* out) {
    uint32_t& logical = out->logicalSectorSize;
    logical = in.field<uint32_t>(disk, "logicalSectorSize", 512, where);
    if (logical != 512 && logical != 4096) {
        in.fail(where + ".logicalSectorSize", "expected 512 or 4096");
        logical = 512;
    }
    const uint32_t physical = in.field<uint32_t>(disk, "physicalSectorSize", logical, where);
    const uint32_t ratio = physical / logical;
    if (physical % logical != 0 || ratio == 0 || (ratio & (ratio - 1)) != 0)
        in.fail(where + ".physicalSectorSize", "expected the logical sector size times a power of two");
    out->physicalSectorSize = physical;
}

void readCapacity(Reader& in, const json& disk, const std::string& where, DiskDescription* out) {
    const uint64_t sector = out->logicalSectorSize;
    if (disk.contains("capacityBytes")) {
        out->capacityBytes = in.number(disk, "capacityBytes", 0, where, kMaxCapacity);
        if (out->capacityBytes % sector != 0)
            in.fail(where + ".capacityBytes", "not a multiple of the logical sector size " + std::to_string(sector));
    } else if (disk.contains("sectorCount")) {
        const uint64_t sectors = in.number(disk, "sectorCount", 0, where);
        if (sectors > kMaxCapacity / sector)
            in.fail(where + ".sectorCount", std::to_string(sectors) + " sectors of " + std::to_string(sector) +
                                                " bytes exceed the largest capacity, 2^63-1 bytes");
        else
            out->capacityBytes = sectors * sector;
    }
    if (out->capacityBytes == 0) in.fail(where, "capacityBytes or sectorCount is required");
}

void readVolume(Reader& in, const json& v, const std::string& at, DiskDescription* out) {
    const std::string letter = in.text(v, "letter", "", at);
    if (letter.size() != 1 || !std::isalpha(static_cast<unsigned char>(letter[0]))) {
        in.fail(at + ".letter", "expected one drive letter");
        return;
    }
    VolumeDescription volume;
    volume.letter = static_cast<char>(std::toupper(static_cast<unsigned char>(letter[0])));
    volume.totalBytes = in.number(v, "totalBytes", 0, at);
    volume.freeBytes = in.number(v, "freeBytes", 0, at);
    if (volume.freeBytes > volume.totalBytes) in.fail(at + ".freeBytes", "more than totalBytes");
    out->volumes.push_back(volume);
}

void readScsiAddress(Reader& in, const json& disk, const std::string& where, DiskDescription* out) {
    const json none = json::object();
    const json* given = in.object(disk, "scsiAddress", where);
    const json& address = given ? *given : none;
    const std::string at = where + ".scsiAddress";
    if (!address.contains("port") && out->number > 0xFF)
        in.fail(at + ".port", "needed for a disk numbered above 255 (ports are 0..255)");
    ScsiAddressDescription& a = out->scsiAddress;
    a.port = in.field<uint8_t>(address, "port", static_cast<uint8_t>(out->number), at);
    a.path = in.field<uint8_t>(address, "path", 0, at);
    a.target = in.field<uint8_t>(address, "target", 0, at);
    a.lun = in.field<uint8_t>(address, "lun", 0, at);
}

// Bus, device and function are the fields of a configuration address; the
// link fields are those of the PCI Express link registers.
void readPci(Reader& in, const json& disk, const std::string& where, DiskDescription* out) {
    const json* pci = in.object(disk, "pci", where);
    if (!pci) return;
    const std::string at = where + ".pci";
    PciDescription& p = out->pci;
    p.present = true;
    p.vendorId = in.field<uint16_t>(*pci, "vendorId", 0, at);
    p.deviceId = in.field<uint16_t>(*pci, "deviceId", 0, at);
    p.subsystemVendorId = in.field<uint16_t>(*pci, "subsystemVendorId", p.vendorId, at);
    p.subsystemId = in.field<uint16_t>(*pci, "subsystemId", 0, at);
    p.bus = in.field<uint8_t>(*pci, "bus", 1, at);
    p.device = static_cast<uint8_t>(in.number(*pci, "device", 0, at, 31));
    p.function = static_cast<uint8_t>(in.number(*pci, "function", 0, at, 7));
    p.linkSpeed = static_cast<uint8_t>(in.number(*pci, "linkSpeed", 3, at, 15));
    p.linkWidth = static_cast<uint8_t>(in.number(*pci, "linkWidth", 4, at, 63));
    p.maxLinkSpeed = static_cast<uint8_t>(in.number(*pci, "maxLinkSpeed", p.linkSpeed, at, 15));
    p.maxLinkWidth = static_cast<uint8_t>(in.number(*pci, "maxLinkWidth", p.linkWidth, at, 63));
}

void readDriver(Reader& in, const json& disk, const std::string& where, DiskDescription* out) {
    const json none = json::object();
    const json* given = in.object(disk, "driver", where);
    const json& driver = given ? *given : none;
    const std::string at = where + ".driver";
    ControllerDriver& d = out->driver;
    d.provider = in.text(driver, "provider", "", at);
    d.version = in.text(driver, "version", "", at);
    d.infPath = in.text(driver, "infPath", "", at);
    d.instanceId = in.text(driver, "instanceId", defaultControllerId(*out), at);
    d.nvmeRoute = in.text(driver, "nvmeRoute", defaultNvmeRoute(d.provider), at);
    if (!oneOf(d.nvmeRoute, {"stornvme", "miniport", "irst"}))
        in.fail(at + ".nvmeRoute", "expected stornvme, miniport or irst");
}

std::vector<uint8_t> identifyData(Reader& in, const json& disk, const char* key, const std::string& where) {
    auto it = disk.find(key);
    if (it == disk.end()) return {};
    std::vector<uint8_t> data = in.bytes(*it, where + "." + key);
    if (data.size() > 4096) in.fail(where + "." + key, "more than 4096 bytes");
    return data;
}

void readIdentify(Reader& in, const json& disk, const std::string& where, DiskDescription* out) {
    if (const json* words = in.object(disk, "identifyWords", where)) {
        for (auto it = words->begin(); it != words->end(); ++it) {
            const std::string at = where + ".identifyWords." + it.key();
            uint64_t index = 0;
            if (numberKey(in, it.key(), 255, at, &index))
                out->identifyWords[static_cast<unsigned>(index)] =
                    in.field<uint16_t>(*words, it.key(), 0, where + ".identifyWords");
        }
    }
    auto it = disk.find("ataIdentifyData");
    if (it != disk.end()) {
        out->ataIdentifyData = in.bytes(*it, where + ".ataIdentifyData");
        if (out->ataIdentifyData.size() != 512) in.fail(where + ".ataIdentifyData", "expected 512 bytes");
    }
    out->nvmeIdentifyController = identifyData(in, disk, "nvmeIdentifyController", where);
    out->nvmeIdentifyNamespace = identifyData(in, disk, "nvmeIdentifyNamespace", where);
}

void readSmartAttribute(Reader& in, const json& a, const std::string& at, DiskDescription* out) {
    SmartAttribute attribute;
    attribute.id = in.field<uint8_t>(a, "id", 0, at);
    attribute.flags = in.field<uint16_t>(a, "flags", attribute.flags, at);
    attribute.current = in.field<uint8_t>(a, "current", attribute.current, at);
    attribute.worst = in.field<uint8_t>(a, "worst", attribute.current, at);
    attribute.threshold = in.field<uint8_t>(a, "threshold", 0, at);
    attribute.raw = in.number(a, "raw", 0, at, kMaxSmartRaw);
    attribute.rawFrom = in.text(a, "rawFrom", "", at);
    attribute.currentFrom = in.text(a, "currentFrom", "", at);
    if (!attribute.currentFrom.empty() && attribute.currentFrom != "availableSpare")
        in.fail(at + ".currentFrom", "expected availableSpare");
    if (attribute.id == 0) in.fail(at + ".id", "attribute id 0 is not allowed");
    if (!attribute.rawFrom.empty() && !oneOf(attribute.rawFrom, {"powerOnHours", "powerCycles", "unsafeShutdowns",
                                                                 "sectorsRead", "sectorsWritten", "mediaErrors",
                                                                 "temperatureCelsius", "availableSpare"}))
        in.fail(at + ".rawFrom", "unknown counter \"" + attribute.rawFrom + "\"");
    out->smartAttributes.push_back(attribute);
}

// {"size", "fill", "bytes": {"offset": "hex"}}; every edit lies within the
// page size limit.
NvmeLogPageEdit readLogPageEdit(Reader& in, const json& page, const std::string& at) {
    NvmeLogPageEdit edit;
    edit.size = static_cast<uint32_t>(in.number(page, "size", 0, at, kMaxLogPageBytes));
    edit.fill = in.field<uint8_t>(page, "fill", 0, at);
    if (const json* bytes = in.object(page, "bytes", at)) {
        for (auto it = bytes->begin(); it != bytes->end(); ++it) {
            const std::string where = at + ".bytes." + it.key();
            uint64_t offset = 0;
            if (!numberKey(in, it.key(), kMaxLogPageBytes, where, &offset)) continue;
            std::vector<uint8_t> data = in.bytes(it.value(), where);
            if (offset + data.size() > kMaxLogPageBytes)
                in.fail(where, "runs past " + std::to_string(kMaxLogPageBytes) + " bytes");
            else
                edit.bytes[static_cast<uint32_t>(offset)] = std::move(data);
        }
    }
    return edit;
}

void readHealth(Reader& in, const json& disk, const std::string& where, DiskDescription* out) {
    if (const json* pages = in.object(disk, "nvmeLogPages", where)) {
        for (auto it = pages->begin(); it != pages->end(); ++it) {
            const std::string at = where + ".nvmeLogPages." + it.key();
            uint64_t id = 0;
            if (!numberKey(in, it.key(), 255, at, &id)) continue;
            if (it.value().is_object())
                out->nvmeLogPageEdits[static_cast<uint8_t>(id)] = readLogPageEdit(in, it.value(), at);
            else
                out->nvmeLogPages[static_cast<uint8_t>(id)] = in.bytes(it.value(), at);
        }
    }
    if (const json* health = in.object(disk, "health", where)) {
        const std::string at = where + ".health";
        out->temperatureKelvin = in.field<uint16_t>(*health, "temperatureKelvin", 308, at);
        out->percentageUsed = in.field<uint8_t>(*health, "percentageUsed", 0, at);
        out->availableSpare = static_cast<uint8_t>(in.number(*health, "availableSpare", 100, at, 100));
        out->availableSpareThreshold = static_cast<uint8_t>(in.number(*health, "availableSpareThreshold", 10, at, 100));
        out->criticalWarning = in.field<uint8_t>(*health, "criticalWarning", 0, at);
        if (out->temperatureKelvin < kZeroCelsiusKelvin)
            in.fail(at + ".temperatureKelvin", "below 273 K, which SATA attribute 194 cannot show");
    }
}

void readVendorAnswer(Reader& in, const json& a, const std::string& at, DiskDescription* out) {
    VendorAnswer answer;
    answer.opcode = in.field<uint8_t>(a, "opcode", 0, at);
    answer.dword0 = in.field<uint32_t>(a, "dword0", 0, at);
    answer.status = static_cast<uint16_t>(in.number(a, "status", 0, at, 0x7FFF));
    auto data = a.find("data");
    if (data != a.end()) answer.data = in.bytes(*data, at + ".data");
    out->vendorAnswers.push_back(answer);
}

void readWriteTrimRange(Reader& in, const json& r, const std::string& at, DiskDescription* out) {
    WriteTrimRange range;
    range.lba = in.number(r, "lba", 0, at);
    range.sectors = static_cast<uint32_t>(in.number(r, "sectors", 0, at, 0xFFFFFFFF));
    const std::string op = in.text(r, "op", "write", at);
    range.op = op == "trim" ? 2 : 1;
    if (!oneOf(op, {"write", "trim"})) in.fail(at + ".op", "expected write or trim");
    if (range.sectors == 0) in.fail(at + ".sectors", "expected at least one sector");
    const uint64_t sectors = out->sectorCount();
    if (range.lba > sectors || range.sectors > sectors - range.lba)
        in.fail(at, "the range runs past the last LBA " + std::to_string(sectors ? sectors - 1 : 0));
    out->writeTrimRanges.push_back(range);
}

void readWriteTrimRanges(Reader& in, const json& disk, const std::string& where, DiskDescription* out) {
    if (!disk.contains("writeTrimRanges")) return;
    out->answersWriteTrimRanges = true;
    const std::string at = where + ".writeTrimRanges";
    if (!out->isNvme()) in.fail(at, "only an NVMe disk answers the write-and-trim vendor command");
    readList(in, disk, "writeTrimRanges", where,
             [&](const json& r, const std::string& entry) { readWriteTrimRange(in, r, entry, out); });
    if (out->writeTrimRanges.size() > kMaxWriteTrimRanges)
        in.fail(at, "more than " + std::to_string(kMaxWriteTrimRanges) + " ranges");
}

// "trim": {"supported", "readsZeros", "deterministic"}; a plain SCSI disk
// has none unless it says so.
void readTrim(Reader& in, const json& disk, const std::string& where, DiskDescription* out) {
    const json none = json::object();
    const json* given = in.object(disk, "trim", where);
    const json& trim = given ? *given : none;
    const std::string at = where + ".trim";
    out->trim.supported = in.flag(trim, "supported", !out->isScsi() || out->satBridge, at);
    out->trim.readsZeros = in.flag(trim, "readsZeros", true, at);
    out->trim.deterministic = in.flag(trim, "deterministic", true, at) || out->trim.readsZeros;
}

// "media": "image" (default) or "none"; "latencyMicros": a number or {"min", "max"}.
void readDataPath(Reader& in, const json& disk, const std::string& where, DiskDescription* out) {
    const std::string media = in.text(disk, "media", "image", where);
    if (!oneOf(media, {"image", "none"})) in.fail(where + ".media", "expected image or none");
    out->dataless = media == "none";
    auto latency = disk.find("latencyMicros");
    if (latency == disk.end()) return;
    if (latency->is_object()) {
        const std::string at = where + ".latencyMicros";
        out->latencyMinMicros = static_cast<uint32_t>(in.number(*latency, "min", 0, at, kMaxLatencyMicros));
        out->latencyMaxMicros =
            static_cast<uint32_t>(in.number(*latency, "max", out->latencyMinMicros, at, kMaxLatencyMicros));
        if (out->latencyMaxMicros < out->latencyMinMicros) in.fail(at + ".max", "less than min");
        return;
    }
    out->latencyMinMicros = static_cast<uint32_t>(in.number(disk, "latencyMicros", 0, where, kMaxLatencyMicros));
    out->latencyMaxMicros = out->latencyMinMicros;
}

void readFault(Reader& in, const json& f, const std::string& at, DiskDescription* out) {
    FaultDescription fault;
    fault.kind = in.text(f, "kind", "", at);
    if (!oneOf(fault.kind, {"ata_error", "scsi_check", "nvme_status", "ioctl_error", "absent", "media_error", "corrupt",
                            "crc_error", "write_error", "timeout", "vanish", "bad_descriptor"}))
        in.fail(at + ".kind", "unknown fault kind \"" + fault.kind + "\"");
    fault.opcode = f.contains("opcode") ? in.field<uint8_t>(f, "opcode", 0, at) : -1;
    fault.lba = in.number(f, "lba", 0, at);
    fault.count = in.number(f, "count", 0, at);
    if (fault.count > ~fault.lba) in.fail(at + ".count", "the range runs past LBA 2^64-1");
    fault.ataStatus = in.field<uint8_t>(f, "status", fault.ataStatus, at);
    fault.ataError = in.field<uint8_t>(f, "error", fault.ataError, at);
    fault.senseKey = static_cast<uint8_t>(in.number(f, "senseKey", fault.senseKey, at, 0xF));
    fault.asc = in.field<uint8_t>(f, "asc", fault.asc, at);
    fault.ascq = in.field<uint8_t>(f, "ascq", fault.ascq, at);
    fault.nvmeStatus = static_cast<uint16_t>(in.number(f, "nvmeStatus", fault.nvmeStatus, at, 0x7FFF));
    fault.windowsError = in.field<uint32_t>(f, "windowsError", fault.kind == "write_error" ? kErrorWriteFault : 0, at);
    fault.ioctl = in.field<uint32_t>(f, "ioctl", 0, at);
    fault.version = in.field<uint32_t>(f, "version", fault.version, at);
    fault.after = in.number(f, "after", 0, at);
    fault.remaining = f.contains("times") ? static_cast<int>(in.number(f, "times", 0, at, 0x7FFFFFFF)) : -1;
    out->faults.push_back(fault);
}

void readPowerBehaviour(Reader& in, const json& disk, const std::string& where, DiskDescription* out) {
    out->writeCache = in.text(disk, "writeCache", out->writeCache, where);
    if (!oneOf(out->writeCache, {"none", "volatile", "torn"}))
        in.fail(where + ".writeCache", "expected none, volatile or torn");
    if (out->dataless && out->writeCache != "none") in.fail(where + ".writeCache", "a data-less disk keeps no data");
    out->shutdownAttempts = in.field<uint32_t>(disk, "shutdownAttempts", out->shutdownAttempts, where);
    out->powerOnDelayMs = static_cast<uint32_t>(in.number(disk, "powerOnDelayMs", 0, where, kMaxPowerOnDelayMs));
    out->hostMemoryBuffer = in.flag(disk, "hostMemoryBuffer", false, where);
}

DiskDescription readDisk(Reader& in, const json& disk, const std::string& where) {
    DiskDescription out;
    readIdentity(in, disk, where, &out);
    readSectorSizes(in, disk, where, &out);
    readCapacity(in, disk, where, &out);
    readScsiAddress(in, disk, where, &out);
    readPci(in, disk, where, &out);
    readDriver(in, disk, where, &out);
    readList(in, disk, "volumes", where, [&](const json& v, const std::string& at) { readVolume(in, v, at, &out); });
    readIdentify(in, disk, where, &out);
    readList(in, disk, "smartAttributes", where,
             [&](const json& a, const std::string& at) { readSmartAttribute(in, a, at, &out); });
    if (out.smartAttributes.size() > kSmartTableEntries)
        in.fail(where + ".smartAttributes", "more than " + std::to_string(kSmartTableEntries) +
                                                " attributes, the size of the SMART table");
    readHealth(in, disk, where, &out);
    readList(in, disk, "vendorAnswers", where,
             [&](const json& a, const std::string& at) { readVendorAnswer(in, a, at, &out); });
    readWriteTrimRanges(in, disk, where, &out);
    readTrim(in, disk, where, &out);
    readDataPath(in, disk, where, &out);
    readPowerBehaviour(in, disk, where, &out);
    readList(in, disk, "faults", where, [&](const json& f, const std::string& at) { readFault(in, f, at, &out); });
    return out;
}

PowerSwitchDescription readPowerSwitch(Reader& in, const json& b, const std::string& at) {
    PowerSwitchDescription board;
    board.kind = in.text(b, "kind", "", at);
    if (!oneOf(board.kind, {"SataHX410V1", "SataHX410V2", "PcieHX410V1", "PcieHX410V2", "JMicronS583"}))
        in.fail(at + ".kind", "unknown power-switch kind \"" + board.kind + "\"");
    if (!b.contains("disk")) in.fail(at + ".disk", "a power switch answers on its own disk");
    board.diskNumber = b.contains("disk") ? static_cast<int>(in.number(b, "disk", 0, at, kMaxDiskNumber)) : -1;
    board.failCommands = in.flag(b, "failCommands", false, at);
    board.millivolts = static_cast<uint32_t>(in.number(b, "millivolts", board.millivolts, at, kMaxBoardMillivolts));
    board.milliamps = static_cast<uint32_t>(in.number(b, "milliamps", board.milliamps, at, kMaxBoardMilliamps));
    board.port = in.text(b, "port", "", at);
    if (const json* powers = in.array(b, "powers", at)) {
        for (size_t i = 0; i < powers->size(); ++i) {
            uint64_t number = 0;
            if (in.number((*powers)[i], at + ".powers[" + std::to_string(i) + "]", kMaxDiskNumber, &number))
                board.powers.push_back(static_cast<int>(number));
        }
    }
    return board;
}

DriverPackageDescription readDriverPackage(Reader& in, const json& p, const std::string& at) {
    DriverPackageDescription package;
    package.name = in.text(p, "name", "", at);
    if (package.name.empty()) in.fail(at + ".name", "a driver package needs its published name");
    package.provider = in.text(p, "provider", "", at);
    package.className = in.text(p, "class", "", at);
    package.version = in.text(p, "version", "", at);
    package.signer = in.text(p, "signer", "", at);
    return package;
}

// "C:\x", "\\server", "/x" and "Z:/x" name a folder on their own.
bool absoluteFolder(const std::string& folder) {
    if (folder.empty()) return false;
    if (folder[0] == '\\' || folder[0] == '/') return true;
    return folder.size() >= 2 && std::isalpha(static_cast<unsigned char>(folder[0])) && folder[1] == ':';
}

std::string folderOf(const std::string& path) {
    const size_t cut = path.find_last_of("\\/");
    return cut == std::string::npos ? "." : path.substr(0, cut);
}

void checkUniqueNumbers(Reader& in, const HostDescription& host) {
    for (size_t i = 0; i < host.disks.size(); ++i)
        for (size_t j = i + 1; j < host.disks.size(); ++j)
            if (host.disks[i].number == host.disks[j].number)
                in.fail("disks[" + std::to_string(j) + "].number",
                        "disk number " + std::to_string(host.disks[j].number) + " is given twice");
}

// Disks may share a controller, but an id that is part of another one would
// give the second disk the first one's driver.
void checkControllerIds(Reader& in, const HostDescription& host) {
    for (size_t i = 0; i < host.disks.size(); ++i) {
        const ControllerDriver& port = host.disks[i].driver;
        if (port.provider.empty()) continue;  // no controller record to take
        for (size_t j = 0; j < host.disks.size(); ++j) {
            const std::string& id = host.disks[j].driver.instanceId;
            if (id != port.instanceId && id.find(port.instanceId) != std::string::npos)
                in.fail("disks[" + std::to_string(j) + "].driver.instanceId",
                        "contains the controller id of disk " + std::to_string(host.disks[i].number) + ", \"" +
                            port.instanceId + "\"");
        }
    }
}

// A board must answer on a described disk, and a disk has one power rail.
void checkPowerSwitches(Reader& in, const HostDescription& host) {
    std::vector<int> powered;
    for (size_t i = 0; i < host.powerSwitches.size(); ++i) {
        const PowerSwitchDescription& board = host.powerSwitches[i];
        const std::string at = "powerSwitches[" + std::to_string(i) + "]";
        if (board.diskNumber >= 0 && !host.disk(board.diskNumber))
            in.fail(at + ".disk", "no disk " + std::to_string(board.diskNumber) + " is described");
        for (int number : board.powers) {
            if (std::find(powered.begin(), powered.end(), number) != powered.end())
                in.fail(at + ".powers", "disk " + std::to_string(number) + " is powered by two switches");
            powered.push_back(number);
        }
    }
}

}  // namespace

const DiskDescription* HostDescription::disk(int number) const {
    for (const DiskDescription& d : disks)
        if (d.number == number) return &d;
    return nullptr;
}

bool parseHostDescription(const std::string& text, HostDescription* host, std::string* problem) {
    problem->clear();
    const json root = json::parse(text, nullptr, false);
    if (root.is_discarded()) {
        *problem = "not valid JSON";
        return false;
    }
    Reader in;
    if (!root.is_object()) {
        *problem = "host: expected an object at the top";
        return false;
    }
    host->portIoDriver = in.flag(root, "portIoDriver", true, "host");
    host->clockOffsetSeconds = in.number(root, "clockOffsetSeconds", 0, "host", kMaxClockOffsetSeconds);
    readList(in, root, "disks", "host",
             [&](const json& disk, const std::string& at) { host->disks.push_back(readDisk(in, disk, at)); });
    readList(in, root, "powerSwitches", "host", [&](const json& board, const std::string& at) {
        host->powerSwitches.push_back(readPowerSwitch(in, board, at));
    });
    host->toolsFolder = in.text(root, "toolsFolder", "", "host");
    host->windowsLetter = readWindowsLetter(in, root);
    readList(in, root, "driverPackages", "host", [&](const json& package, const std::string& at) {
        host->driverPackages.push_back(readDriverPackage(in, package, at));
    });
    checkUniqueNumbers(in, *host);
    checkControllerIds(in, *host);
    checkPowerSwitches(in, *host);
    if (!in.ok()) *problem = in.problems().front();
    return in.ok();
}

bool loadHostDescription(const std::string& path, HostDescription* host, std::string* problem) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        *problem = "cannot open the file";
        return false;
    }
    std::stringstream text;
    text << file.rdbuf();
    host->path = path;
    host->stateFolder = path + ".state";
    if (!parseHostDescription(text.str(), host, problem)) return false;
    if (!host->toolsFolder.empty() && !absoluteFolder(host->toolsFolder))
        host->toolsFolder = folderOf(path) + "/" + host->toolsFolder;
    return true;
}

}  // namespace vhost
}  // namespace zel
