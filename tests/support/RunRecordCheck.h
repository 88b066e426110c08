#pragma once

#include <windows.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "tests/support/ChildProcess.h"

namespace zeltest {

// The Unix path Wine maps a Windows path to ("" outside Wine).
inline std::string unixPathOf(const std::string& windowsPath) {
    using ToUnix = char*(CDECL*)(LPCWSTR);
    const FARPROC found = GetProcAddress(GetModuleHandleA("kernel32.dll"), "wine_get_unix_file_name");
    if (!found) return "";
    ToUnix toUnix;
    static_assert(sizeof toUnix == sizeof found);
    std::memcpy(&toUnix, &found, sizeof toUnix);
    std::wstring wide(windowsPath.begin(), windowsPath.end());
    char* path = toUnix(wide.c_str());
    if (!path) return "";
    std::string result(path);
    HeapFree(GetProcessHeap(), 0, path);
    return result;
}

struct RecordVerdict {
    int code = -1;       // 0 conforms, 1 does not, 2 unreadable; -1 no verdict
    std::string lines;   // one per violation
};

// Checks a run record (--out_json) against docs/run-record.schema.json with
// Debian's python3-jsonschema. Wine starts a host program but cannot wait
// for it, so the script leaves its verdict in a file that appears whole.
inline RecordVerdict validateRunRecord(const std::string& recordPath) {
    const std::string source = ZEL_SOURCE_DIR;
    const std::string verdictPath = recordPath + ".verdict";
    DeleteFileA(verdictPath.c_str());
    runProgram("Z:\\usr\\bin\\python3", "\"" + source + "/scripts/validate-run-record.py\" --verdict \"" +
                                            unixPathOf(verdictPath) + "\" \"" + source +
                                            "/docs/run-record.schema.json\" \"" + unixPathOf(recordPath) + "\"");
    RecordVerdict verdict;
    for (int waited = 0; waited < 600 && !fileExists(verdictPath); ++waited) Sleep(100);
    const std::string text = readFile(verdictPath);
    if (text.empty()) return verdict;
    verdict.code = std::atoi(text.c_str());
    verdict.lines = text.substr(text.find('\n') + 1);
    return verdict;
}

}  // namespace zeltest
