// Dies of an access violation; with the argument "dump" it first installs
// the crash dumper, as ZelCli.exe does in debug mode.
#include <cstring>

#include "host/CrashDumper.h"

int main(int argc, char** argv) {
    if (argc > 1 && std::strcmp(argv[1], "dump") == 0) zel::CrashDumper::instance();
    volatile int* nowhere = nullptr;
    *nowhere = 1;
    return 0;
}
