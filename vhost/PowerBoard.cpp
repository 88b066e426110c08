#include "vhost/PowerBoard.h"

#include <cmath>
#include <cstring>
#include <fstream>

#include "core/TextFormat.h"
#include "vhost/VirtualDisk.h"

namespace zel {
namespace vhost {
namespace {

constexpr uint32_t kMarkerOffset = 3584;  // LBA 7 of 512-byte sectors

std::string hexBytes(const uint8_t* bytes, size_t count) {
    std::string text;
    for (size_t i = 0; i < count; ++i) text += formatText(i ? " %02X" : "%02X", bytes[i]);
    return text;
}

bool zeroExcept(const uint8_t* cdb, uint8_t length, std::initializer_list<int> named) {
    for (int i = 0; i < length; ++i) {
        bool isNamed = false;
        for (int n : named) isNamed = isNamed || n == i;
        if (!isNamed && cdb[i] != 0) return false;
    }
    return true;
}

ScsiResult good(uint32_t transferred) {
    ScsiResult result;
    result.transferred = transferred;
    return result;
}

}  // namespace

PowerBoard::PowerBoard(const PowerSwitchDescription& description, VirtualDisk& own,
                       std::vector<VirtualDisk*> powered, std::string logPath)
    : description_(description), own_(own), powered_(std::move(powered)), logPath_(std::move(logPath)) {}

uint32_t PowerBoard::millivolts() {
    const uint32_t set = own_.counters().boardMillivolts;
    return set ? set : description_.millivolts;
}

void PowerBoard::log(const std::string& what, bool failed) {
    std::string line = formatText("disk %d %s %s", own_.number(), description_.kind.c_str(), what.c_str());
    if (!cdbText_.empty()) line += " " + cdbText_;
    if (failed) line += " failed";
    decoded_.push_back(line);
    if (!logPath_.empty()) std::ofstream(logPath_, std::ios::app) << line << '\n';
}

std::optional<ScsiResult> PowerBoard::execute(const uint8_t* cdb, uint8_t length, uint8_t* data, uint32_t size) {
    if (length != 16) return std::nullopt;
    cdbText_ = hexBytes(cdb, length);
    const std::string& kind = description_.kind;
    if (kind == "SataHX410V1" && cdb[0] == 0xF0) return sataV1(cdb, size);
    if (kind == "SataHX410V2" && cdb[0] == 0xF1) return sataV2(cdb, size);
    if (kind == "PcieHX410V2" && cdb[0] == 0xC0) return pcieV2(cdb, data, size);
    if (kind == "JMicronS583" && cdb[0] == 0xDF) return gpio(cdb, size);
    return std::nullopt;
}

// F0 F1, byte 2: FF on, 00 off; no data.
std::optional<ScsiResult> PowerBoard::sataV1(const uint8_t* cdb, uint32_t size) {
    if (cdb[1] != 0xF1 || !zeroExcept(cdb, 16, {0, 1, 2}) || size != 0) return invalidField("unknown");
    if (cdb[2] == 0xFF) return switchPower(true, "on");
    if (cdb[2] == 0x00) return switchPower(false, "off");
    return invalidField("unknown");
}

// F1 41, bytes 2 and 3: 00 00 on, FF FF off; no data.
std::optional<ScsiResult> PowerBoard::sataV2(const uint8_t* cdb, uint32_t size) {
    if (cdb[1] != 0x41 || !zeroExcept(cdb, 16, {0, 1, 2, 3}) || size != 0) return invalidField("unknown");
    if (cdb[2] == 0x00 && cdb[3] == 0x00) return switchPower(true, "on");
    if (cdb[2] == 0xFF && cdb[3] == 0xFF) return switchPower(false, "off");
    return invalidField("unknown");
}

// C0 52 (power: byte 2 1 on, 2 off; byte 11 08; 16 bytes in), C0 41
// (measure: byte 2 01, byte 11 80; 512 bytes in), C0 56 (voltage: byte 2
// 01, millivolts in bytes 4..5 big-endian, byte 11 08; 16 bytes in).
std::optional<ScsiResult> PowerBoard::pcieV2(const uint8_t* cdb, uint8_t* data, uint32_t size) {
    if (cdb[1] == 0x52 && zeroExcept(cdb, 16, {0, 1, 2, 11}) && cdb[11] == 0x08 && size == 16) {
        if (data) std::memset(data, 0, size);
        if (cdb[2] == 1) return switchPower(true, "on");
        if (cdb[2] == 2) return switchPower(false, "off");
    }
    if (cdb[1] == 0x41 && zeroExcept(cdb, 16, {0, 1, 2, 11}) && cdb[2] == 0x01 && cdb[11] == 0x80 && size == 512 &&
        data)
        return measure(data, size);
    if (cdb[1] == 0x56 && zeroExcept(cdb, 16, {0, 1, 2, 4, 5, 11}) && cdb[2] == 0x01 && cdb[11] == 0x08 &&
        size == 16) {
        if (data) std::memset(data, 0, size);
        return setVoltage(uint32_t(cdb[4]) << 8 | cdb[5]);
    }
    return invalidField("unknown");
}

// DF 47, byte 2 the GPIO pin (0), byte 3 its level: 1 powers the rail, 0
// cuts it; no data.
std::optional<ScsiResult> PowerBoard::gpio(const uint8_t* cdb, uint32_t size) {
    if (cdb[1] != 0x47 || cdb[2] != 0 || !zeroExcept(cdb, 16, {0, 1, 3}) || size != 0 || cdb[3] > 1)
        return invalidField("unknown");
    return switchPower(cdb[3] == 1, cdb[3] == 1 ? "on" : "off");
}

ScsiResult PowerBoard::invalidField(const std::string& what) {
    log(what, true);
    return checkCondition(0x05, 0x24, 0x00);
}

ScsiResult PowerBoard::switchPower(bool on, const std::string& what) {
    if (description_.failCommands) {
        log(what, true);
        return checkCondition(0x04, 0x44, 0x00);  // HARDWARE ERROR, internal target failure
    }
    log(what, false);
    for (VirtualDisk* disk : powered_) {
        if (on)
            disk->restorePower();
        else
            disk->cutPower();
    }
    return good(0);
}

// Bytes 4..5: the shunt voltage in 2.5 uV steps (a 0.02-ohm shunt, so the
// current in mA times 8); bytes 6..7: the bus voltage in 1.25 mV steps,
// which is the output less the shunt's drop.
ScsiResult PowerBoard::measure(uint8_t* data, uint32_t size) {
    if (description_.failCommands) {
        log("measure", true);
        return checkCondition(0x04, 0x44, 0x00);
    }
    log("measure", false);
    std::memset(data, 0, size);
    const uint32_t shunt = description_.milliamps * 8;
    const double shuntMillivolts = shunt * 0.0025;
    const double bus = std::lround((millivolts() - shuntMillivolts) / 1.25);
    const uint32_t busSteps = bus < 0 ? 0 : bus > 0xFFFF ? 0xFFFF : static_cast<uint32_t>(bus);
    data[4] = static_cast<uint8_t>(shunt >> 8);
    data[5] = static_cast<uint8_t>(shunt);
    data[6] = static_cast<uint8_t>(busSteps >> 8);
    data[7] = static_cast<uint8_t>(busSteps);
    return good(size);
}

ScsiResult PowerBoard::setVoltage(uint32_t millivolts) {
    const std::string what = formatText("voltage %u", millivolts);
    if (description_.failCommands || millivolts == 0) {
        log(what, true);
        return description_.failCommands ? checkCondition(0x04, 0x44, 0x00) : checkCondition(0x05, 0x24, 0x00);
    }
    log(what, false);
    own_.counters().boardMillivolts = millivolts;
    own_.countersChanged();
    return good(16);
}

// "HXPWR410" then "ON" or "OF" in bytes 8 and 9; anything else is data.
bool PowerBoard::markerWritten(const uint8_t* sector) {
    if (description_.kind != "PcieHX410V1" || std::memcmp(sector, "HXPWR410", 8) != 0 || sector[8] != 'O')
        return true;
    cdbText_ = "marker@" + std::to_string(kMarkerOffset) + " " + hexBytes(sector, 10);
    if (sector[9] != 'N' && sector[9] != 'F') return true;
    const ScsiResult result = switchPower(sector[9] == 'N', sector[9] == 'N' ? "on" : "off");
    cdbText_.clear();
    return result.status == 0;
}

}  // namespace vhost
}  // namespace zel
