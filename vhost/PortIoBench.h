#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "vhost/HostDescription.h"
#include "vhost/NvmeRegisters.h"
#include "vhost/PlatformPower.h"

namespace zel {
namespace vhost {

class VirtualDisk;

struct PortWrite {
    uint16_t port = 0;
    uint32_t value = 0;
    uint8_t size = 0;
};

// The port-I/O driver of the virtual host: PCI configuration space of each
// NVMe controller through 0xCF8/0xCFC, the controllers' BAR0 registers in
// physical memory, the CMOS/RTC behind 0x70/0x71, and a record of every
// port write (kept in memory and appended to "port-writes.log" in the state
// folder so that later runs and tests can read it; the file keeps only the
// most recent writes). The platform's power registers (PlatformPower) and
// each controller's PCI power state turn writes into power transitions.
class PortIoBench {
public:
    // diskOf finds the emulated disk behind a controller, whose registers
    // follow its power; without it each controller keeps registers of its own.
    using DiskFinder = std::function<VirtualDisk*(int number)>;
    explicit PortIoBench(const HostDescription& host, DiskFinder diskOf = nullptr);

    bool driverInstalled() const { return host_.portIoDriver; }
    bool open = false;

    bool readPort(uint16_t port, uint32_t* value, uint8_t size);
    bool writePort(uint16_t port, uint32_t value, uint8_t size);
    bool readPhysical(uint64_t address, uint32_t* value);
    bool writePhysical(uint64_t address, uint32_t value);

    const std::vector<PortWrite>& writes() const { return writes_; }

    // Transitions the writes since the last call caused, oldest first.
    std::vector<PowerTransition> takeTransitions();
    // Whether the disk's controller was told a normal or abrupt shutdown is
    // coming (CC.SHN not 0), so that losing power is no surprise to it.
    bool shutdownNotified(int diskNumber) const;
    // After a power cycle the controllers start afresh: CC, CSTS and their
    // configuration space as at power-on, in D0.
    void powerOnReset();
    // PCI power state (0..3) of a controller, from its PMCSR.
    static uint32_t powerStateOf(const std::map<uint32_t, uint32_t>& configWrites);

    // Configuration dword of a controller at an offset (tests, docs).
    static uint32_t configDword(const PciDescription& pci, uint64_t bar0, uint32_t offset);
    // Where a disk's controller registers sit in physical memory.
    static uint64_t bar0Of(int diskNumber) { return 0xC0000000ull + 0x100000ull * static_cast<unsigned>(diskNumber); }

private:
    struct Controller {
        const DiskDescription* disk;
        NvmeRegisters registers;
        std::map<uint32_t, uint32_t> configWrites;
    };

    Controller* controllerAt(uint32_t configAddress);
    Controller* controllerOwning(uint64_t address, uint32_t* registerOffset);
    uint8_t cmosRead(uint8_t index) const;
    void record(uint16_t port, uint32_t value, uint8_t size);
    void configWrite(Controller& controller, uint32_t offset, uint32_t value);
    void appendToLog(const std::string& line);

    const HostDescription& host_;
    DiskFinder diskOf_;
    std::vector<Controller> controllers_;
    uint32_t configAddress_ = 0;
    uint8_t cmosIndex_ = 0;
    std::map<uint8_t, uint8_t> cmos_;
    PlatformPower platform_;
    std::vector<PowerTransition> transitions_;
    std::vector<PortWrite> writes_;
    size_t logLines_ = 0;
    bool logCounted_ = false;
};

// port-writes.log is cut to its last kPortLogKept lines when it reaches
// kPortLogLimit lines, so it stays small however many runs write to it.
constexpr size_t kPortLogLimit = 2048;
constexpr size_t kPortLogKept = 1024;

}  // namespace vhost
}  // namespace zel
