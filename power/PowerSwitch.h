#pragma once

#include <cstdint>
#include <memory>

#include "core/Uncopyable.h"
#include "power/BoardCommands.h"
#include "power/BoardSelection.h"
#include "power/IPowerControl.h"

namespace zel {

class DiskBase;

// A board on its own disk that switches the power of the disk under test;
// on and off both go to the board class's power(on). Commands go to the
// board's disk, never to the DUT.
class PowerSwitch : public IPowerControl, private Uncopyable {
public:
    explicit PowerSwitch(DiskBase& board) : board_(board) {}

    bool powerOn() override { return power(true); }
    bool powerOff() override { return power(false); }
    bool measure(double* voltage, double* current, double* power) override;
    bool setVoltage(uint32_t millivolts) override;

    DiskBase& board() const { return board_; }
    virtual BoardClass boardClass() const = 0;

protected:
    virtual bool power(bool on) = 0;
    // Sends the CDB on the board's disk number through its protocol, with
    // a data-in buffer of the CDB's size (null for none).
    bool send(const BoardCdb& cdb, uint8_t* buffer);

private:
    DiskBase& board_;
};

// The switch class for a choice, on the board's disk.
std::unique_ptr<PowerSwitch> createPowerSwitch(BoardClass board, DiskBase& disk);

}  // namespace zel
