#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace zel {
namespace vhost {

// What a virtual host is made of, as read from its JSON description. Field
// names and defaults are documented in docs/vhost.md.

struct ControllerDriver {
    std::string provider;
    std::string version;
    std::string infPath;
    std::string instanceId;  // a default one when not given (docs/vhost-enumeration-and-port-io.md)
    // How NVMe commands reach the controller: "stornvme", "miniport" or
    // "irst"; derived from the provider name when not given (no provider:
    // the inbox driver).
    std::string nvmeRoute;
};

struct VolumeDescription {
    char letter = 0;
    uint64_t totalBytes = 0;
    uint64_t freeBytes = 0;
};

struct ScsiAddressDescription {
    uint8_t port = 0;
    uint8_t path = 0;
    uint8_t target = 0;
    uint8_t lun = 0;
};

struct PciDescription {
    bool present = false;
    uint16_t vendorId = 0;
    uint16_t deviceId = 0;
    uint16_t subsystemVendorId = 0;
    uint16_t subsystemId = 0;
    uint8_t bus = 0;
    uint8_t device = 0;
    uint8_t function = 0;
    uint8_t linkSpeed = 3;  // PCIe generation
    uint8_t linkWidth = 4;
    uint8_t maxLinkSpeed = 3;
    uint8_t maxLinkWidth = 4;
};

struct SmartAttribute {
    uint8_t id = 0;
    uint16_t flags = 0x0032;
    uint8_t current = 100;
    uint8_t worst = 100;
    uint8_t threshold = 0;
    uint64_t raw = 0;
    // A state counter that supplies the raw value: "powerOnHours",
    // "powerCycles", "unsafeShutdowns", "sectorsRead", "sectorsWritten",
    // "mediaErrors", "temperatureCelsius", "availableSpare".
    std::string rawFrom;
    // "availableSpare": the current (and worst) value follows the health
    // setting, so a spare at its threshold trips SMART RETURN STATUS.
    std::string currentFrom;
};

// A log page built rather than given: the generated page of its id (none
// for ids the host does not generate), resized, then overwritten in places.
struct NvmeLogPageEdit {
    uint32_t size = 0;  // 0: the generated page's size
    uint8_t fill = 0;   // bytes the resize adds
    std::map<uint32_t, std::vector<uint8_t>> bytes;  // by offset
};

// One entry of the answer to the vendor command that lists the ranges to
// write and trim (opcode 0xC6, docs/vhost.md).
struct WriteTrimRange {
    uint64_t lba = 0;
    uint32_t sectors = 0;
    uint32_t op = 1;  // 1 write, 2 trim
};

// What a trimmed sector reads back as; readsZeros implies deterministic.
struct TrimBehaviour {
    bool supported = true;
    bool readsZeros = true;
    bool deterministic = true;
};

struct VendorAnswer {
    uint8_t opcode = 0;
    std::vector<uint8_t> data;
    uint32_t dword0 = 0;
    uint16_t status = 0;  // NVMe status field: code type << 8 | code
};

// A fault applies to commands of its disk that match its filters.
struct FaultDescription {
    std::string kind;  // see Faults.h
    int opcode = -1;   // ATA command, CDB operation code or NVMe opcode; -1 any
    uint64_t lba = 0;
    uint64_t count = 0;  // 0: every LBA
    uint8_t ataStatus = 0x51;
    uint8_t ataError = 0x04;
    uint8_t senseKey = 0x05;
    uint8_t asc = 0x24;
    uint8_t ascq = 0x00;
    uint16_t nvmeStatus = 0x0002;  // status code type << 8 | status code
    uint32_t windowsError = 0;
    uint32_t ioctl = 0;  // 0: every IOCTL
    uint32_t version = 40;
    uint64_t after = 0;  // vanish: requests that still succeed
    int remaining = -1;  // times it fires; -1 always
};

struct DiskDescription {
    int number = 0;
    uint32_t busType = 11;
    std::string vendor;
    std::string model;
    std::string firmware;
    std::string serial;
    ControllerDriver driver;
    uint32_t logicalSectorSize = 512;
    uint32_t physicalSectorSize = 512;
    uint64_t capacityBytes = 0;
    std::vector<VolumeDescription> volumes;
    ScsiAddressDescription scsiAddress;
    PciDescription pci;
    // A USB disk with an ATA device behind a SAT bridge; "strict" treats
    // protocol 0 as a hardware reset, as the SAT standard says.
    bool satBridge = false;
    bool satStrict = false;
    // A USB disk with an NVMe drive behind the JMicron bridge's vendor tunnel
    // (CDB A1h); by default on for vendor "JMicron", product "Generic USB".
    bool nvmeBridge = false;
    std::vector<uint8_t> ataIdentifyData;         // 512 bytes given verbatim, else generated
    std::map<unsigned, uint16_t> identifyWords;  // overrides of single IDENTIFY words
    std::vector<uint8_t> nvmeIdentifyController;  // 4096 bytes when given
    std::vector<uint8_t> nvmeIdentifyNamespace;
    std::vector<SmartAttribute> smartAttributes;
    std::map<uint8_t, std::vector<uint8_t>> nvmeLogPages;  // given verbatim
    std::map<uint8_t, NvmeLogPageEdit> nvmeLogPageEdits;
    uint16_t temperatureKelvin = 308;
    uint8_t percentageUsed = 0;
    uint8_t availableSpare = 100;
    uint8_t availableSpareThreshold = 10;
    uint8_t criticalWarning = 0;  // bits set besides the spare bit
    std::vector<VendorAnswer> vendorAnswers;
    bool answersWriteTrimRanges = false;
    std::vector<WriteTrimRange> writeTrimRanges;
    TrimBehaviour trim;
    bool dataless = false;  // "media": "none": writes vanish, reads are zeros
    uint32_t latencyMinMicros = 0;
    uint32_t latencyMaxMicros = 0;
    std::vector<FaultDescription> faults;
    bool absent = false;  // described but not seen by the host

    // What happens to written data before a flush: "none" (every write is
    // on the media at once), "volatile" (unflushed writes are lost on an
    // unsafe power cut), "torn" (as volatile, but sectors at odd LBAs of
    // the unflushed data survive: a tear at sector granularity).
    std::string writeCache = "none";
    // The CC write with SHN set on which CSTS.SHST turns 2; 0: never.
    uint32_t shutdownAttempts = 1;
    // How long the disk stays unseen after its power comes back.
    uint32_t powerOnDelayMs = 0;
    // Get Features 0Dh answers EHM set.
    bool hostMemoryBuffer = false;

    // The device behind the driver: "ata", "nvme" or "scsi"; by bus type
    // when not given (3, 11: ata; 17, 8: nvme; others: scsi).
    std::string deviceInterface;

    uint64_t sectorCount() const { return logicalSectorSize ? capacityBytes / logicalSectorSize : 0; }
    bool isNvme() const { return deviceInterface == "nvme"; }
    bool isAta() const { return deviceInterface == "ata"; }
    bool isScsi() const { return deviceInterface == "scsi"; }
};

// A board that switches the power of the disks it powers: "SataHX410V1",
// "SataHX410V2", "PcieHX410V1", "PcieHX410V2" or "JMicronS583" (a bridge
// whose GPIO drives a power rail), answering on its own USB disk.
struct PowerSwitchDescription {
    std::string kind;
    int diskNumber = -1;  // the board's own USB disk
    std::string port;
    std::vector<int> powers;
    bool failCommands = false;  // every power command fails
    uint32_t millivolts = 3300;  // PCIe board: output voltage, changed by its voltage command
    uint32_t milliamps = 50;     // PCIe board: the current it measures
};

// A third-party driver package in the host's driver store, as the
// stand-in devcon lists it with dp_enum.
struct DriverPackageDescription {
    std::string name;  // published name, "oem3.inf"
    std::string provider;
    std::string className;
    std::string version;  // "Driver date/version" text
    std::string signer;
};

struct HostDescription {
    std::string path;
    std::string stateFolder;
    // Where the external tools (devcon, diskpart, pnputil, pssuspend) are
    // found; relative to the description's folder when given relative.
    // Empty: the host has none.
    std::string toolsFolder;
    std::vector<DriverPackageDescription> driverPackages;
    std::vector<DiskDescription> disks;
    std::vector<PowerSwitchDescription> powerSwitches;
    bool portIoDriver = true;  // the port-I/O driver is installed
    // Added to the real time for every time stamp and duration the host
    // keeps, so a test can let hours pass without waiting.
    uint64_t clockOffsetSeconds = 0;
    // Letter of the volume that holds Windows; 0: the machine's own.
    char windowsLetter = 0;

    const DiskDescription* disk(int number) const;
};

// Parses a description; on failure the problem names the key at fault.
bool parseHostDescription(const std::string& text, HostDescription* host, std::string* problem);

// Reads the file, parses it, and places the state folder beside it
// ("<description>.state").
bool loadHostDescription(const std::string& path, HostDescription* host, std::string* problem);

}  // namespace vhost
}  // namespace zel
