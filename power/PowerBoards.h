#pragma once

#include "power/PowerSwitch.h"

namespace zel {

// The switch classes, one per board generation (docs/power.md).

class SataHX410V1 : public PowerSwitch {
public:
    using PowerSwitch::PowerSwitch;
    BoardClass boardClass() const override { return BoardClass::SataHX410V1; }

protected:
    bool power(bool on) override { return send(boardcdb::sataV1Power(on), nullptr); }
};

class SataHX410V2 : public PowerSwitch {
public:
    using PowerSwitch::PowerSwitch;
    BoardClass boardClass() const override { return BoardClass::SataHX410V2; }

protected:
    bool power(bool on) override { return send(boardcdb::sataV2Power(on), nullptr); }
};

// Switched by a marker sector written to the board's disk.
class PcieHX410V1 : public PowerSwitch {
public:
    using PowerSwitch::PowerSwitch;
    BoardClass boardClass() const override { return BoardClass::PcieHX410V1; }

protected:
    bool power(bool on) override;
};

// Also measures its output and sets its voltage.
class PcieHX410V2 : public PowerSwitch {
public:
    using PowerSwitch::PowerSwitch;
    BoardClass boardClass() const override { return BoardClass::PcieHX410V2; }
    bool measure(double* voltage, double* current, double* power) override;
    bool setVoltage(uint32_t millivolts) override;

protected:
    bool power(bool on) override;
};

// A JMicron USB bridge whose GPIO drives the DUT's power rail (--pwrtype
// sata_gpio).
class JMicronGpioSwitch : public PowerSwitch {
public:
    using PowerSwitch::PowerSwitch;
    BoardClass boardClass() const override { return BoardClass::JMicronGpio; }

protected:
    bool power(bool on) override { return send(boardcdb::jmicronGpioPower(on), nullptr); }
};

}  // namespace zel
