#include "vhost/PortIoBench.h"

#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "core/TextFormat.h"
#include "vhost/VirtualDisk.h"

namespace zel {
namespace vhost {
namespace {

constexpr uint32_t kPmCap = 0x40;
constexpr uint32_t kPcieCap = 0x70;
constexpr uint32_t kD3Hot = 3;

uint8_t toBcd(int value) { return static_cast<uint8_t>((value / 10) << 4 | (value % 10)); }

std::vector<std::string> readLines(const std::string& path) {
    std::vector<std::string> lines;
    std::ifstream in(path);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

// Rewrites the file with its last lines only; how many lines it now holds.
size_t keepLastLines(const std::string& path, size_t count) {
    const std::vector<std::string> lines = readLines(path);
    const size_t first = lines.size() > count ? lines.size() - count : 0;
    {
        std::ofstream out(path + ".tmp", std::ios::trunc);
        for (size_t i = first; i < lines.size(); ++i) out << lines[i] << '\n';
    }
    std::error_code error;
    std::filesystem::rename(path + ".tmp", path, error);
    return error ? lines.size() : lines.size() - first;
}

}  // namespace

PortIoBench::PortIoBench(const HostDescription& host, DiskFinder diskOf) : host_(host), diskOf_(std::move(diskOf)) {
    for (const DiskDescription& disk : host_.disks)
        if (disk.pci.present && !disk.absent)
            controllers_.push_back({&disk, NvmeRegisters(disk.shutdownAttempts), {}});
}

uint32_t PortIoBench::configDword(const PciDescription& pci, uint64_t bar0, uint32_t offset) {
    switch (offset) {
        case 0x00: return uint32_t(pci.deviceId) << 16 | pci.vendorId;
        case 0x04: return 0x00100006;                    // capability list; memory space, bus master
        case 0x08: return 0x01080200;                    // NVM Express class code, revision 0
        case 0x10: return static_cast<uint32_t>(bar0) | 0x4;  // 64-bit memory BAR
        case 0x14: return static_cast<uint32_t>(bar0 >> 32);
        case 0x2C: return uint32_t(pci.subsystemId) << 16 | pci.subsystemVendorId;
        case 0x34: return kPmCap;
        case kPmCap: return 0x00030000 | kPcieCap << 8 | 0x01;  // PM version 3, next PCIe
        case kPmCap + 4: return 0x00000008;                   // D0, no soft reset
        case kPcieCap: return 0x00020000 | 0x10;             // PCIe v2 endpoint, end of list
        case kPcieCap + 0x04: return 0x00008FC2;             // device capabilities: 512-byte payloads
        case kPcieCap + 0x08: return 0x00002830;             // device control: 256-byte payload, 512 read
        case kPcieCap + 0x0C: return uint32_t(pci.maxLinkWidth) << 4 | pci.maxLinkSpeed;
        case kPcieCap + 0x10: return (uint32_t(pci.linkWidth) << 4 | pci.linkSpeed) << 16;
        default: return 0;
    }
}

PortIoBench::Controller* PortIoBench::controllerAt(uint32_t address) {
    if (!(address & 0x80000000u)) return nullptr;
    const uint32_t bus = (address >> 16) & 0xFF, device = (address >> 11) & 0x1F, function = (address >> 8) & 0x7;
    for (Controller& controller : controllers_) {
        const PciDescription& pci = controller.disk->pci;
        if (pci.bus == bus && pci.device == device && pci.function == function) return &controller;
    }
    return nullptr;
}

PortIoBench::Controller* PortIoBench::controllerOwning(uint64_t address, uint32_t* registerOffset) {
    for (Controller& controller : controllers_) {
        const uint64_t base = bar0Of(controller.disk->number);
        if (address >= base && address < base + 0x4000) {
            *registerOffset = static_cast<uint32_t>(address - base);
            return &controller;
        }
    }
    return nullptr;
}

uint8_t PortIoBench::cmosRead(uint8_t index) const {
    auto written = cmos_.find(index);
    if (written != cmos_.end()) return written->second;
    const std::time_t now = std::time(nullptr);
    const std::tm local = *std::localtime(&now);  // callers hold the host's lock
    switch (index) {
        case 0x00: return toBcd(local.tm_sec);
        case 0x02: return toBcd(local.tm_min);
        case 0x04: return toBcd(local.tm_hour);
        case 0x06: return toBcd(local.tm_wday + 1);
        case 0x07: return toBcd(local.tm_mday);
        case 0x08: return toBcd(local.tm_mon + 1);
        case 0x09: return toBcd(local.tm_year % 100);
        case 0x0A: return 0x26;
        case 0x0B: return 0x02;  // 24-hour, BCD
        case 0x0D: return 0x80;  // valid RAM and time
        default: return 0;
    }
}

bool PortIoBench::readPort(uint16_t port, uint32_t* value, uint8_t size) {
    if (!open) return false;
    const uint32_t mask = size >= 4 ? 0xFFFFFFFFu : (1u << (8 * size)) - 1;
    if (port == 0xCF8) {
        *value = configAddress_ & mask;
    } else if (port >= 0xCFC && port <= 0xCFF) {
        Controller* controller = controllerAt(configAddress_);
        uint32_t dword = 0xFFFFFFFF;
        if (controller) {
            const uint32_t offset = configAddress_ & 0xFC;
            auto written = controller->configWrites.find(offset);
            dword = written != controller->configWrites.end()
                        ? written->second
                        : configDword(controller->disk->pci, bar0Of(controller->disk->number), offset);
        }
        *value = (dword >> (8 * (port - 0xCFC))) & mask;
    } else if (port == 0x71) {
        *value = cmosRead(cmosIndex_ & 0x7F);
    } else if (PlatformPower::owns(port)) {
        *value = platform_.read(port) & mask;
    } else {
        *value = 0xFFFFFFFF & mask;
    }
    return true;
}

bool PortIoBench::writePort(uint16_t port, uint32_t value, uint8_t size) {
    if (!open) return false;
    record(port, value, size);
    if (port == 0xCF8 && size == 4) {
        configAddress_ = value;
    } else if (port == 0xCFC) {
        if (Controller* controller = controllerAt(configAddress_)) configWrite(*controller, configAddress_ & 0xFC, value);
    } else if (port == 0x70) {
        cmosIndex_ = static_cast<uint8_t>(value);
    } else if (port == 0x71) {
        cmos_[cmosIndex_ & 0x7F] = static_cast<uint8_t>(value);
    } else if (PlatformPower::owns(port)) {
        platform_.write(port, value, [this](uint8_t index) { return cmosRead(index); });
    }
    return true;
}

bool PortIoBench::readPhysical(uint64_t address, uint32_t* value) {
    uint32_t offset = 0;
    Controller* controller = open ? controllerOwning(address, &offset) : nullptr;
    if (!controller) return false;
    // In D3hot the function decodes no memory: reads come back all ones.
    if (powerStateOf(controller->configWrites) == kD3Hot) {
        *value = 0xFFFFFFFF;
        return true;
    }
    VirtualDisk* disk = diskOf_ ? diskOf_(controller->disk->number) : nullptr;
    *value = disk ? disk->readControllerRegister(offset) : controller->registers.read(offset);
    return true;
}

bool PortIoBench::writePhysical(uint64_t address, uint32_t value) {
    uint32_t offset = 0;
    Controller* controller = open ? controllerOwning(address, &offset) : nullptr;
    if (!controller) return false;
    if (VirtualDisk* disk = diskOf_ ? diskOf_(controller->disk->number) : nullptr)
        disk->writeControllerRegister(offset, value);
    else
        controller->registers.write(offset, value);
    return true;
}

uint32_t PortIoBench::powerStateOf(const std::map<uint32_t, uint32_t>& configWrites) {
    auto pmcsr = configWrites.find(kPmCap + 4);
    return pmcsr == configWrites.end() ? 0 : pmcsr->second & 3;
}

void PortIoBench::configWrite(Controller& controller, uint32_t offset, uint32_t value) {
    const uint32_t before = powerStateOf(controller.configWrites);
    controller.configWrites[offset] = value;
    const uint32_t after = powerStateOf(controller.configWrites);
    if (offset != kPmCap + 4 || after == before) return;
    PowerTransition t;
    t.event = after == kD3Hot ? "D3hot" : formatText("D%u", after);
    t.details["disk"] = controller.disk->number;
    t.details["from"] = before == kD3Hot ? "D3hot" : formatText("D%u", before);
    t.details["pmcsr"] = formatText("0x%08X", value);
    transitions_.push_back(t);
}

std::vector<PowerTransition> PortIoBench::takeTransitions() {
    std::vector<PowerTransition> taken;
    taken.swap(transitions_);
    for (PowerTransition& t : platform_.takeTransitions()) taken.push_back(std::move(t));
    return taken;
}

bool PortIoBench::shutdownNotified(int diskNumber) const {
    for (const Controller& controller : controllers_) {
        if (controller.disk->number != diskNumber) continue;
        VirtualDisk* disk = diskOf_ ? diskOf_(diskNumber) : nullptr;
        const uint32_t cc = disk ? disk->readControllerRegister(NvmeRegisters::kCc)
                                 : controller.registers.read(NvmeRegisters::kCc);
        return ((cc >> 14) & 3) != 0;
    }
    return false;
}

void PortIoBench::powerOnReset() {
    for (Controller& controller : controllers_) {
        controller.registers.reset();
        controller.configWrites.clear();
        if (VirtualDisk* disk = diskOf_ ? diskOf_(controller.disk->number) : nullptr) disk->resetController();
    }
}

void PortIoBench::record(uint16_t port, uint32_t value, uint8_t size) {
    writes_.push_back({port, value, size});
    if (!host_.stateFolder.empty()) appendToLog(formatText("0x%04X 0x%08X %u\n", port, value, size));
}

void PortIoBench::appendToLog(const std::string& line) {
    std::error_code ignored;
    std::filesystem::create_directories(host_.stateFolder, ignored);
    const std::string path = host_.stateFolder + "/port-writes.log";
    if (!logCounted_) {
        logLines_ = readLines(path).size();
        logCounted_ = true;
    }
    if (logLines_ >= kPortLogLimit) logLines_ = keepLastLines(path, kPortLogKept);
    std::ofstream(path, std::ios::app) << line;
    ++logLines_;
}

}  // namespace vhost
}  // namespace zel
