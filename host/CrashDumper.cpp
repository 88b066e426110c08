#include "host/CrashDumper.h"

#include <windows.h>
// dbghelp.h needs the definitions of windows.h first.
#include <dbghelp.h>

#include <cstdio>

#include "host/CrashDumpName.h"

namespace zel {
namespace {

// Full memory, scan memory, indirectly referenced memory.
constexpr DWORD kDumpType = 0x52;

std::string dumpFileName() {
    SYSTEMTIME now{};
    GetLocalTime(&now);
    char executable[1024] = {};
    GetModuleFileNameA(nullptr, executable, sizeof(executable));
    return crashDumpFileName(executable, {now.wYear, now.wMonth, now.wDay, now.wHour, now.wMinute, now.wSecond});
}

void writeDump(HANDLE file, EXCEPTION_POINTERS* exception) {
    MINIDUMP_EXCEPTION_INFORMATION info{GetCurrentThreadId(), exception, FALSE};
    MiniDumpWriteDump(GetCurrentProcess(), GetCurrentProcessId(), file, static_cast<MINIDUMP_TYPE>(kDumpType),
                      exception ? &info : nullptr, nullptr, nullptr);
}

// Always passes the exception on, so Windows' own handling follows.
LONG WINAPI onUnhandledException(EXCEPTION_POINTERS* exception) {
    const std::string name = dumpFileName();
    std::printf("*** Exception *** output minidump file to %s\n", name.c_str());
    std::fflush(stdout);
    HANDLE file = CreateFileA(name.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS,
                              FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return EXCEPTION_CONTINUE_SEARCH;
    writeDump(file, exception);
    CloseHandle(file);
    return EXCEPTION_CONTINUE_SEARCH;
}

}  // namespace

CrashDumper& CrashDumper::instance() {
    static CrashDumper dumper;
    return dumper;
}

CrashDumper::CrashDumper() { SetUnhandledExceptionFilter(onUnhandledException); }

}  // namespace zel
