#include "power/PowerSwitch.h"

#include "core/ErrorCodes.h"
#include "core/Logger.h"
#include "disk/DiskBase.h"
#include "power/PowerBoards.h"
#include "protocol/CommandRecords.h"
#include "protocol/IProtocol.h"

namespace zel {

bool PowerSwitch::measure(double*, double*, double*) {
    setLastError(err::kNotSupported);
    return false;
}

bool PowerSwitch::setVoltage(uint32_t) {
    setLastError(err::kNotSupported);
    return false;
}

bool PowerSwitch::send(const BoardCdb& cdb, uint8_t* buffer) {
    if (!board_.protocol()) {
        logError("[PowerSwitch] Disk %d has no command route", board_.number());
        setLastError(err::kProtocolNotImplemented);
        return false;
    }
    ScsiCommand command;
    command.cdbLength = 16;
    std::copy(cdb.bytes.begin(), cdb.bytes.end(), command.cdb);
    command.direction = scsidir::kIn;
    command.timeout = 0;  // the route's default
    if (board_.protocol()->sendCommand(static_cast<uint32_t>(board_.number()), buffer, cdb.dataSize, &command))
        return true;
    // A board that answers with a bad status leaves no Windows error.
    if (lastError() == 0) setLastError(err::kScsiStatus);
    return false;
}

std::unique_ptr<PowerSwitch> createPowerSwitch(BoardClass board, DiskBase& disk) {
    switch (board) {
        case BoardClass::SataHX410V1: return std::make_unique<SataHX410V1>(disk);
        case BoardClass::SataHX410V2: return std::make_unique<SataHX410V2>(disk);
        case BoardClass::PcieHX410V1: return std::make_unique<PcieHX410V1>(disk);
        case BoardClass::PcieHX410V2: return std::make_unique<PcieHX410V2>(disk);
        case BoardClass::JMicronGpio: return std::make_unique<JMicronGpioSwitch>(disk);
        case BoardClass::None: break;
    }
    return nullptr;
}

}  // namespace zel
