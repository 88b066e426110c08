#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "vhost/HostDescription.h"
#include "vhost/ScsiTarget.h"

namespace zel {
namespace vhost {

class VirtualDisk;

// A power-switch board on the host: it answers its own commands on its USB
// disk, decoded from the raw CDB or marker sector, and cuts or restores the
// power of the disks it powers. Every command is logged as decoded, one
// line each, to "power-switches.log" in the state folder.
class PowerBoard {
public:
    PowerBoard(const PowerSwitchDescription& description, VirtualDisk& own, std::vector<VirtualDisk*> powered,
               std::string logPath);

    const PowerSwitchDescription& description() const { return description_; }

    // Null when the CDB is not one of this board's commands, so the disk
    // answers it as any other.
    std::optional<ScsiResult> execute(const uint8_t* cdb, uint8_t length, uint8_t* data, uint32_t size);
    // A sector written at byte 3584 of the board's disk (the first PCIe
    // generation's marker); false when the board fails the command.
    bool markerWritten(const uint8_t* sector);

    // The PCIe board's output voltage, as its voltage command left it.
    uint32_t millivolts();
    const std::vector<std::string>& decoded() const { return decoded_; }

private:
    std::optional<ScsiResult> sataV1(const uint8_t* cdb, uint32_t size);
    std::optional<ScsiResult> sataV2(const uint8_t* cdb, uint32_t size);
    std::optional<ScsiResult> pcieV2(const uint8_t* cdb, uint8_t* data, uint32_t size);
    std::optional<ScsiResult> gpio(const uint8_t* cdb, uint32_t size);
    ScsiResult switchPower(bool on, const std::string& what);
    ScsiResult measure(uint8_t* data, uint32_t size);
    ScsiResult setVoltage(uint32_t millivolts);
    ScsiResult invalidField(const std::string& what);
    void log(const std::string& what, bool failed);

    PowerSwitchDescription description_;
    VirtualDisk& own_;
    std::vector<VirtualDisk*> powered_;
    std::string logPath_;
    std::vector<std::string> decoded_;
    std::string cdbText_;
};

}  // namespace vhost
}  // namespace zel
