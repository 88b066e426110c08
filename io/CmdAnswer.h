#pragma once

// What came back from a cmd run, judged and laid out for the INI result and
// the log. Windows-free.

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "io/CmdTranslate.h"

namespace zel {

struct CmdAnswer {
    bool routeOk = false;      // the route reported success
    ErrorCode routeError = 0;  // the last error the route left when it did not
    uint8_t sense[32] = {};
    uint64_t seed = 0;  // rand dumps
    // The bytes the route says the command moved; nullopt where it does not tell.
    std::optional<uint32_t> transferred;
};

struct SenseFields {
    uint8_t key = 0;
    uint8_t asc = 0;
    uint8_t ascq = 0;
};

// Fixed (70h/71h) or descriptor (72h/73h) format; zeros for anything else.
SenseFields decodeSense(const uint8_t (&sense)[32]);

// Whether the device's registers, status or completion in the plan's record
// are its answer (the command reached the device).
bool hasDeviceAnswer(const CmdPlan& plan, const CmdAnswer& answer);

// The run's code and, for a failure the run itself finds, its WARNING line:
// an ATA status other than the expected one, device fault, CHECK CONDITION,
// an NVMe error status. Route failures keep the route's code and line.
CmdProblem judgeAnswer(const CmdPlan& plan, const CmdAnswer& answer);

// The bytes the command moved: what the route tells, at most the request;
// the request where a successful route does not tell; 0 where it failed
// without telling.
uint32_t bytesMoved(const CmdPlan& plan, const CmdAnswer& answer);

// The request's fields as sent: the task file, the CDB or the NVMe command
// dwords, the queue and the data length.
std::vector<std::pair<std::string, std::string>> requestFields(const CmdPlan& plan);

// Keys of the [cmd] section in writing order.
std::vector<std::pair<std::string, std::string>> answerKeys(const CmdPlan& plan, const CmdAnswer& answer,
                                                            ErrorCode code);

// The DEBUG lines of what was asked and what came back.
std::string requestLine(const CmdPlan& plan);
std::string answerLine(const CmdPlan& plan, const CmdAnswer& answer);

std::string hexBytes(const uint8_t* bytes, size_t count);

}  // namespace zel
