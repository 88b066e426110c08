#pragma once

namespace zel {

// Keeps an unattended test host from waiting on a dialog: a crash ends the
// process with its exception code and no error-reporting window, and
// abort() (an uncaught exception of the option parser or the JSON library)
// ends it with exit code 3 on every C runtime. Process-local settings, made
// first thing in the run; child tools inherit the error mode.
void preventErrorDialogs();

// DEBUG line with the error mode the process runs with.
void logErrorMode();

}  // namespace zel
