// The virtual host behind the seam, as the tool's Windows calls reach it.
// What a whole run sees (absent disks, data round trips, deep queues, read
// and write faults, trims, volumes filling up) is checked through ZelCli.exe
// in tests/io, tests/disk, tests/smart and tests/power; here the refusals and
// edges a run cannot reach.
#include <gtest/gtest.h>
#include <windows.h>

#include <cstring>
#include <fstream>
#include <functional>
#include <utility>
#include <vector>

#include "tests/support/ChildProcess.h"
#include "tests/support/InstalledHost.h"
#include "tests/support/TestHosts.h"

using zeltest::InstalledHost;

namespace {

zel::DeviceApi& api() { return zel::deviceApi(); }

HANDLE openDrive(int number, DWORD flags = 0, DWORD access = GENERIC_READ | GENERIC_WRITE) {
    return api().createFile(("\\\\.\\PhysicalDrive" + std::to_string(number)).c_str(), access, 3, OPEN_EXISTING,
                            flags);
}

// A synchronous transfer at a byte offset; false with the Windows last error.
bool transferAt(HANDLE drive, int64_t offset, std::vector<uint8_t>& data, bool write) {
    LARGE_INTEGER at;
    at.QuadPart = offset;
    DWORD done = 0, size = static_cast<DWORD>(data.size());
    if (!api().setFilePointerEx(drive, at, nullptr, FILE_BEGIN)) return false;
    return write ? api().writeFile(drive, data.data(), size, &done, nullptr)
                 : api().readFile(drive, data.data(), size, &done, nullptr);
}

// Expects a failed call and the Windows error it left.
void expectFails(bool ok, DWORD error, const std::string& what) {
    const DWORD left = GetLastError();
    EXPECT_FALSE(ok) << what;
    EXPECT_EQ(left, error) << what;
}

// DEVICE_MANAGE_DATA_SET_ATTRIBUTES, trim ranges in bytes from offset 32.
bool trim(HANDLE drive, const std::vector<std::pair<int64_t, uint64_t>>& ranges, uint32_t flags = 0,
          uint32_t size = 28, uint32_t extraLength = 0) {
    std::vector<uint8_t> block(32 + 16 * ranges.size(), 0);
    const uint32_t header[7] = {size, 1, flags, 0, 0, ranges.empty() ? 0u : 32u,
                                16 * static_cast<uint32_t>(ranges.size()) + extraLength};
    std::memcpy(block.data(), header, sizeof header);
    for (size_t i = 0; i < ranges.size(); ++i) std::memcpy(&block[32 + 16 * i], &ranges[i], 16);
    DWORD returned = 0;
    return api().deviceIoControl(drive, 0x2D9404, block.data(), static_cast<DWORD>(block.size()), nullptr, 0,
                                 &returned, nullptr);
}

}  // namespace

TEST(VirtualHostDrive, MisplacedAndReadOnlyTransfersAreRefusedAndWriteNothing) {
    InstalledHost installed(zeltest::routeHost());
    HANDLE drive = openDrive(0), readOnly = openDrive(0, 0, GENERIC_READ);
    std::vector<uint8_t> sector(512), odd(100);
    LARGE_INTEGER before{};
    before.QuadPart = -1;
    expectFails(api().setFilePointerEx(drive, before, nullptr, FILE_BEGIN), ERROR_NEGATIVE_SEEK, "negative seek");
    expectFails(transferAt(drive, 512 * 10 + 3, sector, false), ERROR_INVALID_PARAMETER, "unaligned offset");
    expectFails(transferAt(drive, 0, odd, true), ERROR_INVALID_PARAMETER, "unaligned length");
    expectFails(transferAt(drive, 131072LL * 512, sector, false), ERROR_SECTOR_NOT_FOUND, "past the end");
    EXPECT_TRUE(transferAt(readOnly, 0, sector, false));
    expectFails(transferAt(readOnly, 0, sector, true), ERROR_ACCESS_DENIED, "write on a read-only handle");
    EXPECT_FALSE(zeltest::fileExists(installed.stateFile("disk0.img"))) << "nothing was written";
}

// The tool reads GetLastError after calls that succeed (PowerBoards does).
TEST(VirtualHostDrive, SuccessLeavesTheCallersLastError) {
    InstalledHost installed(zeltest::routeHost());
    HANDLE drive = openDrive(0);
    std::vector<uint8_t> buffer(512);
    DWORD done = 0;
    // The first read and write meet a missing image, the close saves counters.
    const std::pair<const char*, std::function<bool()>> calls[] = {
        {"IOCTL", [&] { return api().deviceIoControl(drive, 0x41018, nullptr, 0, buffer.data(), 8, &done, nullptr); }},
        {"read", [&] { return api().readFile(drive, buffer.data(), 512, &done, nullptr); }},
        {"write", [&] { return api().writeFile(drive, buffer.data(), 512, &done, nullptr); }},
        {"flush", [&] { return api().flushFileBuffers(drive); }},
        {"port write", [&] { return api().portIoOpen() && api().writePort(0x70, 0x0B, 1); }},
        {"close", [&] { return api().closeHandle(drive); }},
    };
    for (const auto& call : calls) {
        SetLastError(ERROR_ALREADY_EXISTS);  // left by an earlier call of the caller
        EXPECT_TRUE(call.second()) << call.first;
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ALREADY_EXISTS)) << call.first;
    }
}

// Offsets and lengths of a protocol command come from the caller; their sum
// must not wrap past the buffer's end.
TEST(VirtualHostDrive, ProtocolCommandOffsetsThatWrapAreRefused) {
    InstalledHost installed(zeltest::routeHost());
    HANDLE drive = openDrive(1);
    std::vector<uint8_t> block(4096);
    const std::pair<size_t, uint32_t> fields[] = {{0, 1}, {4, 84}, {36, 0x100}, {52, 0xFFFFFF80}, {80, 0x06}};
    for (const auto& f : fields) std::memcpy(&block[f.first], &f.second, 4);  // IDENTIFY, data at 0x80 once wrapped
    DWORD done = 0;
    expectFails(api().deviceIoControl(drive, 0x2DD3C0, block.data(), 4096, block.data(), 4096, &done, nullptr),
                ERROR_INVALID_PARAMETER, "wrapped data offset");
    api().closeHandle(drive);
}

// A run's write errors, timeouts and vanishing disk are checked by
// RwEndToEnd; here range edges, one-shot faults and the described error.
TEST(VirtualHostFaults, EachFaultFailsOnlyItsRangeWithItsError) {
    InstalledHost installed(R"({"disks": [{"number": 0, "busType": 11, "sectorCount": 4096,
        "faults": [{"kind": "crc_error", "lba": 8, "count": 1}, {"kind": "timeout", "lba": 32, "count": 1},
                   {"kind": "media_error", "lba": 40, "count": 1, "times": 1},
                   {"kind": "write_error", "lba": 9, "count": 1, "windowsError": 1117}]}]})");
    HANDLE drive = openDrive(0, FILE_FLAG_NO_BUFFERING);
    const struct {
        uint64_t lba, sectors;
        bool write;
        DWORD error;  // 0: succeeds
    } steps[] = {
        {7, 2, false, ERROR_CRC},  {9, 1, false, 0},  {32, 1, false, ERROR_SEM_TIMEOUT},
        {40, 1, false, ERROR_CRC}, {40, 1, false, 0},  // the media error was set to fire once
        {9, 1, true, ERROR_IO_DEVICE}, {10, 1, true, 0},
    };
    for (const auto& s : steps) {
        std::vector<uint8_t> data(s.sectors * 512);
        const bool ok = transferAt(drive, static_cast<int64_t>(s.lba * 512), data, s.write);
        if (s.error) expectFails(ok, s.error, "LBA " + std::to_string(s.lba));
        else EXPECT_TRUE(ok) << s.lba;
    }
    EXPECT_EQ(installed.host().disk(0)->counters().mediaErrors, 1u);
}

// What a trimmed range reads back, run after run, is checked by RwEndToEnd.
TEST(VirtualHostTrim, IoctlChecksEveryRangeBeforeTrimming) {
    InstalledHost installed(R"({"disks": [{"number": 1, "busType": 17, "sectorCount": 4096},
                                          {"number": 2, "busType": 7, "sectorCount": 4096}]})");
    HANDLE nvme = openDrive(1, FILE_FLAG_NO_BUFFERING);
    std::vector<uint8_t> data(1024, 0x6B), back(1024);
    ASSERT_TRUE(transferAt(nvme, 5120, data, true));
    const struct {
        const char* what;
        bool ok;
    } malformed[] = {
        {"short header", trim(nvme, {{5120, 512}}, 0, 24)},   {"length past the block", trim(nvme, {{5120, 512}}, 0, 28, 16)},
        {"no range", trim(nvme, {})},                          {"unaligned offset", trim(nvme, {{5121, 512}})},
        {"unaligned length", trim(nvme, {{5120, 100}})},       {"whole disk with ranges", trim(nvme, {{5120, 512}}, 1)},
        {"past the end", trim(nvme, {{5120, 512}, {4096LL * 512, 512}})}, {"negative", trim(nvme, {{-512, 1024}})},
    };
    for (const auto& m : malformed) EXPECT_FALSE(m.ok) << m.what;
    ASSERT_TRUE(transferAt(nvme, 5120, back, false));
    EXPECT_EQ(back, data) << "nothing trimmed by a refused request";
    ASSERT_TRUE(trim(nvme, {{5120, 512}}));
    ASSERT_TRUE(transferAt(nvme, 5120, back, false));
    std::vector<uint8_t> expected(512, 0);
    expected.resize(1024, 0x6B);
    EXPECT_EQ(back, expected) << "one sector only";
    ASSERT_TRUE(trim(nvme, {}, 1)) << "the whole disk";
    ASSERT_TRUE(transferAt(nvme, 5120, back, false));
    EXPECT_EQ(back, std::vector<uint8_t>(1024, 0));
    expectFails(trim(openDrive(1, 0, GENERIC_READ), {{0, 512}}), ERROR_ACCESS_DENIED, "read-only handle");
    expectFails(trim(openDrive(2), {{0, 512}}), ERROR_NOT_SUPPORTED, "a USB stick");
}

namespace {

zeltest::ChildResult runOnHost(const zeltest::TempDir& dir, const std::string& description, const std::string& args) {
    std::ofstream(dir.file("host.json"), std::ios::binary) << description;
    return zeltest::runZelCli(args, dir.path(), {"ZELCLI_VHOST=" + dir.file("host.json")});
}

}  // namespace

// A host that does not load leaves no disks and no port driver, so no run
// on it passes for a good one; a damaged counter starts from its default.
TEST(VirtualHostEndToEnd, LoadProblemsAreReportedWithTheirPath) {
    const std::string good = R"({"portIoDriver": true, "disks": [{"number": 0, "sectorCount": 8}]})";
    const struct {
        std::string description;
        const char* counters;  // in the state folder, when given
        const char* line;      // from the path on
    } cases[] = {
        {"{", nullptr, "host.json: not valid JSON"},
        {R"({"disks": [{"number": 0}]})", nullptr, "host.json: disks[0]: capacityBytes or sectorCount is required"},
        {R"({"portIoDriver": "yes", "disks": []})", nullptr, "host.json: host.portIoDriver: expected true or false"},
        {good, R"({"disks": {"0": {"powerCycles": -1}}})",
         "host.json.state: counters.json.disks.0.powerCycles: expected a non-negative number; it starts from its default"},
        {good, R"({"disks": {"0": {"firstUse": -1e300}}})",
         "host.json.state: counters.json.disks.0.firstUse: expected a whole number below 2^64"},
        {good, R"({"disks": {"0": {"powered": 0}}})", "host.json.state: counters.json.disks.0.powered: expected true or false"},
        {good, R"({"disks": {"99999999999": {}}})", "host.json.state: counters.json.disks.99999999999: not a disk number"},
        {good, "{broken", "host.json.state: counters.json: not valid JSON; it starts from its default"},
    };
    for (const auto& c : cases) {
        zeltest::TempDir dir;
        if (c.counters) {
            CreateDirectoryA(dir.file("host.json.state").c_str(), nullptr);
            std::ofstream(dir.file("host.json.state\\counters.json")) << c.counters;
        }
        const zeltest::ChildResult info = runOnHost(dir, c.description, "--info");
        EXPECT_EQ(info.exitCode, c.counters ? 0u : 0x20000001u) << c.description << "\n" << info.output;
        const std::string lead = c.counters ? "WARNING  [VirtualHost] Damaged host state "
                                            : "ERROR    [VirtualHost] Cannot load host description ";
        EXPECT_TRUE(zeltest::contains(info.output, lead + dir.file(c.line))) << info.output;
    }
}

// Disk 1's default controller id used to be part of those of disks 10..19,
// and an NVMe disk without a provider was answered on another route than
// the one the tool took for it.
TEST(VirtualHostEndToEnd, DisksNumberedTenAndUpKeepTheirOwnController) {
    const std::string description = R"({"disks": [
        {"number": 1, "busType": 17, "driver": {"provider": "Microsoft"}, "sectorCount": 4096},
        {"number": 10, "busType": 17, "driver": {"provider": "Other Vendor"}, "sectorCount": 4096},
        {"number": 11, "busType": 17, "sectorCount": 4096},
        {"number": 12, "busType": 8, "driver": {"provider": "Intel"}, "sectorCount": 4096}]})";
    zeltest::TempDir dir;
    const zeltest::ChildResult info = runOnHost(dir, description, "--info --out-ini all.ini");
    EXPECT_EQ(info.exitCode, 0u) << info.output;
    const std::pair<int, int> protocols[] = {{1, 6}, {10, 7}, {11, 6}, {12, 8}};  // inbox, miniport, inbox, RST
    for (const auto& [disk, protocol] : protocols) {
        const std::string section = "Disk" + std::to_string(disk);
        EXPECT_EQ(GetPrivateProfileIntA(section.c_str(), "ProtocolType", -1, dir.file("all.ini").c_str()), protocol);
        const zeltest::ChildResult identify = runOnHost(dir, description, "-a cmd --identify -d " + std::to_string(disk));
        EXPECT_EQ(identify.exitCode, 0u) << "the host answers on the tool's route\n" << identify.output;
    }
}
