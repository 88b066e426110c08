#include "vhost/PlatformPower.h"

#include "core/TextFormat.h"

namespace zel {
namespace vhost {
namespace {

constexpr uint16_t kMasterMask = 0x21, kSlaveMask = 0xA1;
constexpr uint16_t kPm1StatusEnable = 0x1800, kPm1Control = 0x1804;
constexpr uint16_t kResetControl = 0xCF9;

constexpr uint32_t kSlpEn = 1u << 13;
constexpr uint32_t kSleepTypeS5 = 7;
constexpr uint16_t kRtcEnable = 1u << 10;  // PM1_EN.RTC_EN
constexpr uint16_t kRtcStatus = 1u << 10;  // PM1_STS.RTC_STS
constexpr uint16_t kWakeStatus = 0x8000;
constexpr uint8_t kResetCpu = 0x04, kFullReset = 0x08;
constexpr uint8_t kAlarmInterruptEnable = 0x20;

std::string hex(uint32_t value, int digits) { return formatText("0x%0*X", digits, value); }

}  // namespace

bool PlatformPower::owns(uint16_t port) {
    return port == kMasterMask || port == kSlaveMask || port == kPm1StatusEnable || port == kPm1Control ||
           port == kResetControl;
}

uint32_t PlatformPower::read(uint16_t port) const {
    switch (port) {
        case kMasterMask: return masterMask_;
        case kSlaveMask: return slaveMask_;
        case kPm1StatusEnable: return uint32_t(pm1Enable_) << 16 | pm1Status_;
        case kPm1Control: return pm1Control_;
        default: return resetControl_;
    }
}

void PlatformPower::write(uint16_t port, uint32_t value, const std::function<uint8_t(uint8_t)>& cmos) {
    switch (port) {
        case kMasterMask: masterMask_ = static_cast<uint8_t>(value); break;
        case kSlaveMask: slaveMask_ = static_cast<uint8_t>(value); break;
        case kPm1StatusEnable:
            pm1Status_ = static_cast<uint16_t>(pm1Status_ & ~value);  // status bits clear when written with 1
            pm1Enable_ = static_cast<uint16_t>(value >> 16);
            break;
        case kPm1Control:
            if (value & kSlpEn)
                sleep(value, cmos);
            else
                pm1Control_ = value;
            break;
        default: reset(static_cast<uint8_t>(value)); break;
    }
}

void PlatformPower::sleep(uint32_t control, const std::function<uint8_t(uint8_t)>& cmos) {
    const uint32_t sleepType = (control >> 10) & 7;
    PowerTransition t;
    t.details["pm1Control"] = hex(control, 8);
    t.details["sleepType"] = sleepType;
    if (sleepType != kSleepTypeS5) {
        t.event = "PM1 sleep";  // other sleep types are the firmware's business; recorded only
        pending_.push_back(t);
        return;
    }
    const bool armed = (cmos(0x0B) & kAlarmInterruptEnable) && (pm1Enable_ & kRtcEnable);
    t.event = "S5";
    t.details["rtcAlarm"] = formatText("%02X:%02X:%02X", cmos(0x05), cmos(0x03), cmos(0x01));
    t.details["alarmArmed"] = armed;
    t.details["wake"] = armed ? "rtc-alarm" : "power-button";
    t.effect = PowerTransition::Effect::UnsafeCycle;
    pending_.push_back(t);
    // The platform starts again: PM1 back to its start-up state.
    pm1Control_ = 0x1;
    pm1Status_ = static_cast<uint16_t>(kWakeStatus | (armed ? kRtcStatus : 0));
    pm1Enable_ = 0;
}

void PlatformPower::reset(uint8_t control) {
    const bool rising = (control & kResetCpu) && !(resetControl_ & kResetCpu);
    resetControl_ = control;
    if (!rising) return;
    PowerTransition t;
    t.event = "cpu-reset";
    t.details["resetControl"] = hex(control, 2);
    t.details["reset"] = (control & kFullReset) ? "cold" : "warm";
    if (control & kFullReset) t.effect = PowerTransition::Effect::UnsafeCycle;
    pending_.push_back(t);
    resetControl_ = 0;
}

std::vector<PowerTransition> PlatformPower::takeTransitions() {
    std::vector<PowerTransition> taken;
    taken.swap(pending_);
    return taken;
}

}  // namespace vhost
}  // namespace zel
