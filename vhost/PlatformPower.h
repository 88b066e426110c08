#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace zel {
namespace vhost {

// A power transition of the virtual machine or of one controller, as the
// host records it in power-events.log.
struct PowerTransition {
    enum class Effect { None, GracefulCycle, UnsafeCycle };
    std::string event;  // "S5", "cpu-reset", "reboot", "shutdown", "S3", "S4", "D3hot", "D0", ...
    nlohmann::ordered_json details = nlohmann::ordered_json::object();
    // What the disks see: nothing, or a power cycle that is orderly or abrupt
    // (abrupt ones stay orderly for an NVMe disk that was notified).
    Effect effect = Effect::None;
};

// The platform registers a system power transition goes through: the
// 8259 interrupt masks (0x21, 0xA1), the ACPI PM1 status/enable (0x1800)
// and control (0x1804) registers, and the reset control register (0xCF9).
// A write of PM1_CNT with SLP_EN and sleep type 7 is an S5 entry, a rising
// RST_CPU with FULL_RST a cold reset; each becomes a transition, and the
// platform then reads as freshly started.
class PlatformPower {
public:
    static bool owns(uint16_t port);
    uint32_t read(uint16_t port) const;
    // cmos reads a CMOS register, for the RTC alarm an S5 entry leaves armed.
    void write(uint16_t port, uint32_t value, const std::function<uint8_t(uint8_t)>& cmos);
    std::vector<PowerTransition> takeTransitions();

private:
    void sleep(uint32_t control, const std::function<uint8_t(uint8_t)>& cmos);
    void reset(uint8_t control);

    uint8_t masterMask_ = 0xFF;
    uint8_t slaveMask_ = 0xFF;
    uint16_t pm1Status_ = 0x8000;  // WAK_STS, as after a start
    uint16_t pm1Enable_ = 0;
    uint32_t pm1Control_ = 0x1;    // SCI_EN
    uint8_t resetControl_ = 0;
    std::vector<PowerTransition> pending_;
};

}  // namespace vhost
}  // namespace zel
