#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "core/ErrorCodeList.h"

namespace zel {

// 0 is success; bit 29 marks the tool's own codes, anything else is a
// Windows system error code passed through unchanged.
using ErrorCode = uint32_t;

namespace err {
constexpr ErrorCode kOk = 0;
constexpr ErrorCode kOwnBit = 0x20000000;
#define ZEL_ERROR_CONSTANT(name, code, message) constexpr ErrorCode name = code;
ZEL_ERROR_CODES(ZEL_ERROR_CONSTANT)
#undef ZEL_ERROR_CONSTANT
// The exist command's answer for a missing disk; outside the own code space.
constexpr ErrorCode kExistMissing = 0xC0380011;
}  // namespace err

const std::map<ErrorCode, const char*>& errorTable();

// "(LE=0x%X, text)" for known own codes and system codes, "(LE=0x%X)" for
// own codes without a row.
std::string errorText(ErrorCode code);

// Stores the code process-wide and in the calling thread's Windows last error.
void setLastError(ErrorCode code);
ErrorCode lastError();

// Takes the thread's Windows last error and stores it as the tool's as well.
ErrorCode takeSystemLastError();

}  // namespace zel
