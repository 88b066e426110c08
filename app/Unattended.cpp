#include "app/Unattended.h"

#include <windows.h>

#include <csignal>
#include <cstdlib>

#include "core/Logger.h"

namespace zel {
namespace {

constexpr UINT kNoDialogs = SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX;
constexpr int kAbortExitCode = 3;

// abort() raises SIGABRT before a newer runtime's fault report (the error
// reporting window, or a fast-fail code instead of 3); ending here gives
// every runtime abort's own exit code.
void endOnAbort(int) { _exit(kAbortExitCode); }

}  // namespace

void preventErrorDialogs() {
    SetErrorMode(GetErrorMode() | kNoDialogs);
    // The runtime's own abort and error messages go to stderr, never a message box.
    _set_error_mode(_OUT_TO_STDERR);
    std::signal(SIGABRT, endOnAbort);
}

void logErrorMode() {
    logDebug("[ZelCli] Error mode 0x%X: no error dialogs; an abort ends the run with exit code %d",
             GetErrorMode(), kAbortExitCode);
}

}  // namespace zel
