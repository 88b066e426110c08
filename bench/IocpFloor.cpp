// The floor under the engine's queued reads on this rig: the least a
// program can do for 4 KiB random reads at QD32 through a completion port
// on the virtual host under Wine. No plan, no pattern, no compare, no
// latency; bench/run.sh sets its cost per I/O beside ZelCli's.
//
//   IocpFloor.exe <I/Os>     (ZELCLI_VHOST names the host description)
//
// Prints "<I/Os> I/Os in <elapsed> us"; exit code 1 on any failure.
#include <windows.h>
#include <winioctl.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "core/DeviceApi.h"
#include "vhost/VirtualHost.h"

namespace {

constexpr ULONG kDepth = 32;
constexpr ULONG kPacketsPerCollect = 64;
constexpr DWORD kBlock = 4096;

alignas(kBlock) uint8_t buffers[kDepth][kBlock];
OVERLAPPED slots[kDepth];

int failed(const char* what) {
    std::fprintf(stderr, "IocpFloor: %s failed (error %lu)\n", what, GetLastError());
    return 1;
}

uint64_t xorshift(uint64_t* state) {
    uint64_t x = *state;
    x ^= x << 13;
    x ^= x >> 7;
    x ^= x << 17;
    return *state = x;
}

uint64_t diskBlocks(HANDLE disk) {
    DISK_GEOMETRY_EX geometry{};
    DWORD returned = 0;
    if (!zel::deviceApi().deviceIoControl(disk, IOCTL_DISK_GET_DRIVE_GEOMETRY_EX, nullptr, 0, &geometry,
                                          sizeof geometry, &returned, nullptr))
        return 0;
    return static_cast<uint64_t>(geometry.DiskSize.QuadPart) / kBlock;
}

// Starts one read into the slot's buffer at a random 4 KiB block.
bool submit(HANDLE disk, ULONG slot, uint64_t blocks, uint64_t* random) {
    const uint64_t offset = (xorshift(random) % blocks) * kBlock;
    OVERLAPPED& overlapped = slots[slot];
    overlapped = OVERLAPPED{};
    overlapped.Offset = static_cast<DWORD>(offset);
    overlapped.OffsetHigh = static_cast<DWORD>(offset >> 32);
    return zel::deviceApi().readFile(disk, buffers[slot], kBlock, nullptr, &overlapped) ||
           GetLastError() == ERROR_IO_PENDING;
}

}  // namespace

int main(int argc, char** argv) {
    const uint64_t total = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 0;
    const char* description = std::getenv("ZELCLI_VHOST");
    if (total < kDepth || !description) {
        std::fprintf(stderr, "usage: ZELCLI_VHOST=<host.json> IocpFloor.exe <I/Os, at least %lu>\n", kDepth);
        return 2;
    }
    // Only the virtual host: this program never opens a real disk.
    std::unique_ptr<zel::DeviceApi> host = zel::vhost::createVirtualHost(description);
    if (!host) return 1;
    zel::replaceDeviceApi(host.get());

    const HANDLE disk = zel::deviceApi().createFile("\\\\.\\PhysicalDrive0", GENERIC_READ,
                                                    FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING,
                                                    FILE_FLAG_OVERLAPPED | FILE_FLAG_NO_BUFFERING);
    if (disk == INVALID_HANDLE_VALUE) return failed("open");
    const uint64_t blocks = diskBlocks(disk);
    if (!blocks) return failed("geometry");
    const HANDLE port = zel::deviceApi().createIoCompletionPort(disk, nullptr, 0, 1);
    if (!port) return failed("port");

    uint64_t random = 0x9E3779B97F4A7C15ull, submitted = 0, completed = 0;
    OVERLAPPED_ENTRY packets[kPacketsPerCollect];
    const auto start = std::chrono::steady_clock::now();
    for (ULONG slot = 0; slot < kDepth; ++slot, ++submitted)
        if (!submit(disk, slot, blocks, &random)) return failed("read");
    while (completed < total) {
        ULONG got = 0;
        if (!zel::deviceApi().getQueuedCompletionStatusEx(port, packets, kPacketsPerCollect, &got, INFINITE))
            return failed("collect");
        for (ULONG i = 0; i < got; ++i) {
            if (packets[i].Internal != 0) return failed("completed read");
            ++completed;
            if (submitted == total) continue;
            if (!submit(disk, static_cast<ULONG>(packets[i].lpOverlapped - slots), blocks, &random))
                return failed("read");
            ++submitted;
        }
    }
    const auto elapsed = std::chrono::steady_clock::now() - start;
    std::printf("%llu I/Os in %lld us\n", static_cast<unsigned long long>(completed),
                static_cast<long long>(std::chrono::duration_cast<std::chrono::microseconds>(elapsed).count()));
    zel::deviceApi().closeHandle(port);
    zel::deviceApi().closeHandle(disk);
    return 0;
}
