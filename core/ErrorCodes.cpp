#include "core/ErrorCodes.h"

#include <atomic>

#include "core/TextFormat.h"

#ifdef _WIN32
#include <windows.h>
#endif

namespace zel {
namespace {

std::atomic<ErrorCode> g_lastError{0};

// The messages are kept exactly, "precondtion", "There is no partitions" and
// the uneven final full stops included: scripts match this text.
#define ZEL_ERROR_ROW(name, code, message) {code, message},
const std::map<ErrorCode, const char*> kTable = {ZEL_ERROR_CODES(ZEL_ERROR_ROW)};
#undef ZEL_ERROR_ROW

std::string systemMessage(ErrorCode code) {
#ifdef _WIN32
    char* buffer = nullptr;
    const DWORD flags = FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM |
                        FORMAT_MESSAGE_IGNORE_INSERTS;
    FormatMessageA(flags, nullptr, code, 0, reinterpret_cast<LPSTR>(&buffer), 0, nullptr);
    std::string text = buffer ? buffer : "";
    if (buffer) LocalFree(buffer);
    return trim(text);
#else
    (void)code;
    return "";
#endif
}

}  // namespace

const std::map<ErrorCode, const char*>& errorTable() { return kTable; }

std::string errorText(ErrorCode code) {
    if (code & err::kOwnBit) {
        auto it = kTable.lower_bound(code);
        if (it != kTable.end() && it->first == code)
            return formatText("(LE=0x%X, %s)", code, it->second);
        return formatText("(LE=0x%X)", code);
    }
    return formatText("(LE=0x%X, %s)", code, systemMessage(code).c_str());
}

void setLastError(ErrorCode code) {
    g_lastError = code;
#ifdef _WIN32
    ::SetLastError(code);
#endif
}

ErrorCode lastError() { return g_lastError; }

ErrorCode takeSystemLastError() {
#ifdef _WIN32
    ErrorCode code = ::GetLastError();
#else
    ErrorCode code = g_lastError;
#endif
    setLastError(code);
    return code;
}

}  // namespace zel
