#include "vhost/HostDescription.h"

#include <cctype>
#include <fstream>
#include <sstream>

#include <nlohmann/json.hpp>

#include "core/NumberText.h"

namespace zel {
namespace vhost {
namespace {

using nlohmann::json;

// Typed reads that remember the first problem instead of throwing, so a bad
// description ends in one clear message.
class Reader {
public:
    explicit Reader(std::string* problem) : problem_(problem) {}

    bool ok() const { return problem_->empty(); }

    void fail(const std::string& where, const std::string& what) {
        if (ok()) *problem_ = where + ": " + what;
    }

    // Numbers may be JSON numbers or text in the tool's number syntax.
    uint64_t number(const json& object, const std::string& key, uint64_t fallback, const std::string& where) {
        auto it = object.find(key);
        if (it == object.end()) return fallback;
        if (it->is_number_unsigned()) return it->get<uint64_t>();
        if (it->is_number_integer() && it->get<int64_t>() >= 0) return static_cast<uint64_t>(it->get<int64_t>());
        if (it->is_string() && !it->get<std::string>().empty())
            return static_cast<uint64_t>(parseNumber64(it->get<std::string>(), 0));
        fail(where + "." + key, "expected a non-negative number");
        return fallback;
    }

    std::string text(const json& object, const std::string& key, const std::string& fallback,
                     const std::string& where) {
        auto it = object.find(key);
        if (it == object.end()) return fallback;
        if (it->is_string()) return it->get<std::string>();
        fail(where + "." + key, "expected text");
        return fallback;
    }

    bool flag(const json& object, const std::string& key, bool fallback, const std::string& where) {
        auto it = object.find(key);
        if (it == object.end()) return fallback;
        if (it->is_boolean()) return it->get<bool>();
        fail(where + "." + key, "expected true or false");
        return fallback;
    }

    // Hex bytes, white space ignored: "01 02 ff".
    std::vector<uint8_t> bytes(const json& value, const std::string& where) {
        std::vector<uint8_t> out;
        if (!value.is_string()) {
            fail(where, "expected hex bytes as text");
            return out;
        }
        std::string digits;
        for (char c : value.get<std::string>())
            if (!std::isspace(static_cast<unsigned char>(c))) digits += c;
        if (digits.size() % 2 != 0) fail(where, "odd number of hex digits");
        for (size_t i = 0; i + 1 < digits.size(); i += 2) {
            if (!std::isxdigit(static_cast<unsigned char>(digits[i])) ||
                !std::isxdigit(static_cast<unsigned char>(digits[i + 1]))) {
                fail(where, "not a hex digit");
                break;
            }
            out.push_back(static_cast<uint8_t>(std::stoul(digits.substr(i, 2), nullptr, 16)));
        }
        return out;
    }

    const json* array(const json& object, const std::string& key, const std::string& where) {
        auto it = object.find(key);
        if (it == object.end()) return nullptr;
        if (it->is_array()) return &*it;
        fail(where + "." + key, "expected a list");
        return nullptr;
    }

    const json* object(const json& parent, const std::string& key, const std::string& where) {
        auto it = parent.find(key);
        if (it == parent.end()) return nullptr;
        if (it->is_object()) return &*it;
        fail(where + "." + key, "expected an object");
        return nullptr;
    }

private:
    std::string* problem_;
};

std::string defaultInterface(uint32_t busType) {
    if (busType == 3 || busType == 11) return "ata";
    if (busType == 17 || busType == 8) return "nvme";
    return "scsi";
}

std::string defaultNvmeRoute(const std::string& provider) {
    if (provider.find("Microsoft") != std::string::npos) return "stornvme";
    if (provider.find("Intel") != std::string::npos) return "irst";
    return "miniport";
}

void readDriver(Reader& in, const json& disk, const std::string& where, DiskDescription* out) {
    const json* driver = in.object(disk, "driver", where);
    if (!driver) {
        out->driver.nvmeRoute = defaultNvmeRoute("");
        return;
    }
    const std::string at = where + ".driver";
    ControllerDriver& d = out->driver;
    d.provider = in.text(*driver, "provider", "", at);
    d.version = in.text(*driver, "version", "", at);
    d.infPath = in.text(*driver, "infPath", "", at);
    d.instanceId = in.text(*driver, "instanceId", "", at);
    d.nvmeRoute = in.text(*driver, "nvmeRoute", defaultNvmeRoute(d.provider), at);
    if (d.nvmeRoute != "stornvme" && d.nvmeRoute != "miniport" && d.nvmeRoute != "irst")
        in.fail(at + ".nvmeRoute", "expected stornvme, miniport or irst");
}

void readVolumes(Reader& in, const json& disk, const std::string& where, DiskDescription* out) {
    const json* volumes = in.array(disk, "volumes", where);
    if (!volumes) return;
    for (size_t i = 0; i < volumes->size(); ++i) {
        const json& v = (*volumes)[i];
        const std::string at = where + ".volumes[" + std::to_string(i) + "]";
        const std::string letter = in.text(v, "letter", "", at);
        if (letter.size() != 1 || !std::isalpha(static_cast<unsigned char>(letter[0]))) {
            in.fail(at + ".letter", "expected one drive letter");
            continue;
        }
        VolumeDescription volume;
        volume.letter = static_cast<char>(std::toupper(static_cast<unsigned char>(letter[0])));
        volume.totalBytes = in.number(v, "totalBytes", 0, at);
        volume.freeBytes = in.number(v, "freeBytes", 0, at);
        out->volumes.push_back(volume);
    }
}

void readAddressAndPci(Reader& in, const json& disk, const std::string& where, DiskDescription* out) {
    if (const json* address = in.object(disk, "scsiAddress", where)) {
        const std::string at = where + ".scsiAddress";
        out->scsiAddress.port = static_cast<uint8_t>(in.number(*address, "port", out->number, at));
        out->scsiAddress.path = static_cast<uint8_t>(in.number(*address, "path", 0, at));
        out->scsiAddress.target = static_cast<uint8_t>(in.number(*address, "target", 0, at));
        out->scsiAddress.lun = static_cast<uint8_t>(in.number(*address, "lun", 0, at));
    } else {
        out->scsiAddress.port = static_cast<uint8_t>(out->number);
    }
    const json* pci = in.object(disk, "pci", where);
    if (!pci) return;
    const std::string at = where + ".pci";
    PciDescription& p = out->pci;
    p.present = true;
    p.vendorId = static_cast<uint16_t>(in.number(*pci, "vendorId", 0, at));
    p.deviceId = static_cast<uint16_t>(in.number(*pci, "deviceId", 0, at));
    p.subsystemVendorId = static_cast<uint16_t>(in.number(*pci, "subsystemVendorId", p.vendorId, at));
    p.subsystemId = static_cast<uint16_t>(in.number(*pci, "subsystemId", 0, at));
    p.bus = static_cast<uint8_t>(in.number(*pci, "bus", 1, at));
    p.device = static_cast<uint8_t>(in.number(*pci, "device", 0, at));
    p.function = static_cast<uint8_t>(in.number(*pci, "function", 0, at));
    p.linkSpeed = static_cast<uint8_t>(in.number(*pci, "linkSpeed", 3, at));
    p.linkWidth = static_cast<uint8_t>(in.number(*pci, "linkWidth", 4, at));
    p.maxLinkSpeed = static_cast<uint8_t>(in.number(*pci, "maxLinkSpeed", p.linkSpeed, at));
    p.maxLinkWidth = static_cast<uint8_t>(in.number(*pci, "maxLinkWidth", p.linkWidth, at));
}

void readIdentify(Reader& in, const json& disk, const std::string& where, DiskDescription* out) {
    if (const json* words = in.object(disk, "identifyWords", where)) {
        for (auto it = words->begin(); it != words->end(); ++it) {
            const unsigned index = static_cast<unsigned>(parseNumber(it.key(), 256));
            if (index > 255) {
                in.fail(where + ".identifyWords." + it.key(), "word index outside 0..255");
                continue;
            }
            out->identifyWords[index] = static_cast<uint16_t>(in.number(*words, it.key(), 0, where + ".identifyWords"));
        }
    }
    auto it = disk.find("ataIdentifyData");
    if (it != disk.end()) {
        out->ataIdentifyData = in.bytes(*it, where + ".ataIdentifyData");
        if (out->ataIdentifyData.size() != 512) in.fail(where + ".ataIdentifyData", "expected 512 bytes");
    }
    it = disk.find("nvmeIdentifyController");
    if (it != disk.end()) out->nvmeIdentifyController = in.bytes(*it, where + ".nvmeIdentifyController");
    it = disk.find("nvmeIdentifyNamespace");
    if (it != disk.end()) out->nvmeIdentifyNamespace = in.bytes(*it, where + ".nvmeIdentifyNamespace");
}

void readSmart(Reader& in, const json& disk, const std::string& where, DiskDescription* out) {
    if (const json* attributes = in.array(disk, "smartAttributes", where)) {
        for (size_t i = 0; i < attributes->size(); ++i) {
            const json& a = (*attributes)[i];
            const std::string at = where + ".smartAttributes[" + std::to_string(i) + "]";
            SmartAttribute attribute;
            attribute.id = static_cast<uint8_t>(in.number(a, "id", 0, at));
            attribute.flags = static_cast<uint16_t>(in.number(a, "flags", attribute.flags, at));
            attribute.current = static_cast<uint8_t>(in.number(a, "current", attribute.current, at));
            attribute.worst = static_cast<uint8_t>(in.number(a, "worst", attribute.current, at));
            attribute.threshold = static_cast<uint8_t>(in.number(a, "threshold", 0, at));
            attribute.raw = in.number(a, "raw", 0, at);
            attribute.rawFrom = in.text(a, "rawFrom", "", at);
            if (attribute.id == 0) in.fail(at + ".id", "attribute id 0 is not allowed");
            out->smartAttributes.push_back(attribute);
        }
    }
    if (const json* pages = in.object(disk, "nvmeLogPages", where)) {
        for (auto it = pages->begin(); it != pages->end(); ++it) {
            const long id = parseNumber(it.key(), -1);
            if (id < 0 || id > 255) {
                in.fail(where + ".nvmeLogPages." + it.key(), "log identifier outside 0..255");
                continue;
            }
            out->nvmeLogPages[static_cast<uint8_t>(id)] = in.bytes(it.value(), where + ".nvmeLogPages." + it.key());
        }
    }
    if (const json* health = in.object(disk, "health", where)) {
        const std::string at = where + ".health";
        out->temperatureKelvin = static_cast<uint16_t>(in.number(*health, "temperatureKelvin", 308, at));
        out->percentageUsed = static_cast<uint8_t>(in.number(*health, "percentageUsed", 0, at));
        out->availableSpare = static_cast<uint8_t>(in.number(*health, "availableSpare", 100, at));
    }
}

void readVendorAnswers(Reader& in, const json& disk, const std::string& where, DiskDescription* out) {
    const json* answers = in.array(disk, "vendorAnswers", where);
    if (!answers) return;
    for (size_t i = 0; i < answers->size(); ++i) {
        const json& a = (*answers)[i];
        const std::string at = where + ".vendorAnswers[" + std::to_string(i) + "]";
        VendorAnswer answer;
        answer.opcode = static_cast<uint8_t>(in.number(a, "opcode", 0, at));
        answer.dword0 = static_cast<uint32_t>(in.number(a, "dword0", 0, at));
        answer.status = static_cast<uint16_t>(in.number(a, "status", 0, at));
        auto data = a.find("data");
        if (data != a.end()) answer.data = in.bytes(*data, at + ".data");
        out->vendorAnswers.push_back(answer);
    }
}

const char* const kFaultKinds[] = {"ata_error", "scsi_check", "nvme_status", "ioctl_error", "absent",
                                   "media_error", "corrupt", "crc_error", "timeout", "bad_descriptor"};

bool knownFaultKind(const std::string& kind) {
    for (const char* known : kFaultKinds)
        if (kind == known) return true;
    return false;
}

void readFaults(Reader& in, const json& disk, const std::string& where, DiskDescription* out) {
    const json* faults = in.array(disk, "faults", where);
    if (!faults) return;
    for (size_t i = 0; i < faults->size(); ++i) {
        const json& f = (*faults)[i];
        const std::string at = where + ".faults[" + std::to_string(i) + "]";
        FaultDescription fault;
        fault.kind = in.text(f, "kind", "", at);
        if (!knownFaultKind(fault.kind)) in.fail(at + ".kind", "unknown fault kind \"" + fault.kind + "\"");
        fault.opcode = f.contains("opcode") ? static_cast<int>(in.number(f, "opcode", 0, at)) : -1;
        fault.lba = in.number(f, "lba", 0, at);
        fault.count = in.number(f, "count", 0, at);
        fault.ataStatus = static_cast<uint8_t>(in.number(f, "status", fault.ataStatus, at));
        fault.ataError = static_cast<uint8_t>(in.number(f, "error", fault.ataError, at));
        fault.senseKey = static_cast<uint8_t>(in.number(f, "senseKey", fault.senseKey, at));
        fault.asc = static_cast<uint8_t>(in.number(f, "asc", fault.asc, at));
        fault.ascq = static_cast<uint8_t>(in.number(f, "ascq", fault.ascq, at));
        fault.nvmeStatus = static_cast<uint16_t>(in.number(f, "nvmeStatus", fault.nvmeStatus, at));
        fault.windowsError = static_cast<uint32_t>(in.number(f, "windowsError", 0, at));
        fault.ioctl = static_cast<uint32_t>(in.number(f, "ioctl", 0, at));
        fault.version = static_cast<uint32_t>(in.number(f, "version", fault.version, at));
        fault.remaining = f.contains("times") ? static_cast<int>(in.number(f, "times", 0, at)) : -1;
        out->faults.push_back(fault);
    }
}

void readIdentity(Reader& in, const json& disk, const std::string& where, DiskDescription* out) {
    out->number = static_cast<int>(in.number(disk, "number", 0, where));
    out->busType = static_cast<uint32_t>(in.number(disk, "busType", 11, where));
    out->vendor = in.text(disk, "vendor", "", where);
    out->model = in.text(disk, "model", "", where);
    out->firmware = in.text(disk, "firmware", "", where);
    out->serial = in.text(disk, "serial", "", where);
    out->deviceInterface = in.text(disk, "interface", defaultInterface(out->busType), where);
    if (!out->isAta() && !out->isNvme() && !out->isScsi()) in.fail(where + ".interface", "expected ata, nvme or scsi");
    out->logicalSectorSize = static_cast<uint32_t>(in.number(disk, "logicalSectorSize", 512, where));
    out->physicalSectorSize =
        static_cast<uint32_t>(in.number(disk, "physicalSectorSize", out->logicalSectorSize, where));
    if (out->logicalSectorSize != 512 && out->logicalSectorSize != 4096)
        in.fail(where + ".logicalSectorSize", "expected 512 or 4096");
    out->capacityBytes = in.number(disk, "capacityBytes", 0, where);
    if (out->capacityBytes == 0) out->capacityBytes = in.number(disk, "sectorCount", 0, where) * out->logicalSectorSize;
    if (out->capacityBytes == 0) in.fail(where, "capacityBytes or sectorCount is required");
    out->satBridge = in.flag(disk, "satBridge", false, where);
    out->satStrict = in.flag(disk, "satStrict", false, where);
    out->absent = in.flag(disk, "absent", false, where);
}

DiskDescription readDisk(Reader& in, const json& disk, const std::string& where) {
    DiskDescription out;
    if (!disk.is_object()) {
        in.fail(where, "expected an object");
        return out;
    }
    readIdentity(in, disk, where, &out);
    readDriver(in, disk, where, &out);
    readVolumes(in, disk, where, &out);
    readAddressAndPci(in, disk, where, &out);
    readIdentify(in, disk, where, &out);
    readSmart(in, disk, where, &out);
    readVendorAnswers(in, disk, where, &out);
    readFaults(in, disk, where, &out);
    return out;
}

void readPowerSwitches(Reader& in, const json& root, HostDescription* host) {
    const json* boards = in.array(root, "powerSwitches", "host");
    if (!boards) return;
    for (size_t i = 0; i < boards->size(); ++i) {
        const json& b = (*boards)[i];
        const std::string at = "powerSwitches[" + std::to_string(i) + "]";
        PowerSwitchDescription board;
        board.kind = in.text(b, "kind", "", at);
        board.diskNumber = b.contains("disk") ? static_cast<int>(in.number(b, "disk", 0, at)) : -1;
        board.port = in.text(b, "port", "", at);
        if (const json* powers = in.array(b, "powers", at))
            for (const json& n : *powers)
                board.powers.push_back(n.is_number_integer() ? n.get<int>() : -1);
        host->powerSwitches.push_back(board);
    }
}

void checkUniqueNumbers(Reader& in, const HostDescription& host) {
    for (size_t i = 0; i < host.disks.size(); ++i)
        for (size_t j = i + 1; j < host.disks.size(); ++j)
            if (host.disks[i].number == host.disks[j].number)
                in.fail("disks[" + std::to_string(j) + "].number",
                        "disk number " + std::to_string(host.disks[j].number) + " is given twice");
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
    Reader in(problem);
    if (!root.is_object()) {
        in.fail("host", "expected an object at the top");
        return false;
    }
    if (const json* disks = in.array(root, "disks", "host"))
        for (size_t i = 0; i < disks->size(); ++i)
            host->disks.push_back(readDisk(in, (*disks)[i], "disks[" + std::to_string(i) + "]"));
    readPowerSwitches(in, root, host);
    checkUniqueNumbers(in, *host);
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
    return parseHostDescription(text.str(), host, problem);
}

}  // namespace vhost
}  // namespace zel
