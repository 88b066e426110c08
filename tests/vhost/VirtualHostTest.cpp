// The virtual host behind the seam, as the tool's Windows calls reach it.
// What a whole run sees (data round trips, deep queues, counters across
// runs, fault codes) is checked through ZelCli.exe in tests/io and
// tests/smart; here the refusals and edges a run cannot reach.
#include <gtest/gtest.h>
#include <windows.h>

#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <utility>
#include <vector>

#include "disk/DiskList.h"
#include "disk/DiskTypes.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/InstalledHost.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TestHosts.h"

using zeltest::InstalledHost;

namespace {

constexpr DWORD kQueued = FILE_FLAG_NO_BUFFERING | FILE_FLAG_OVERLAPPED;

HANDLE openDrive(int number, DWORD flags = 0, DWORD access = GENERIC_READ | GENERIC_WRITE) {
    return zel::deviceApi().createFile(("\\\\.\\PhysicalDrive" + std::to_string(number)).c_str(), access, 3,
                                       OPEN_EXISTING, flags);
}

// A synchronous transfer at a byte offset; false with the Windows last error.
bool transferAt(HANDLE drive, int64_t offset, std::vector<uint8_t>& data, bool write) {
    LARGE_INTEGER at;
    at.QuadPart = offset;
    DWORD done = 0, size = static_cast<DWORD>(data.size());
    zel::DeviceApi& api = zel::deviceApi();
    if (!api.setFilePointerEx(drive, at, nullptr, FILE_BEGIN)) return false;
    return write ? api.writeFile(drive, data.data(), size, &done, nullptr)
                 : api.readFile(drive, data.data(), size, &done, nullptr);
}

struct Request : OVERLAPPED {
    explicit Request(uint64_t lba = 0) : OVERLAPPED{} {
        Offset = static_cast<DWORD>(lba * 512);
        hEvent = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    }
    ~Request() { CloseHandle(hEvent); }
};

bool pending(BOOL started) { return !started && GetLastError() == ERROR_IO_PENDING; }
bool invalid(BOOL ok) { return !ok && GetLastError() == ERROR_INVALID_PARAMETER; }

// DEVICE_MANAGE_DATA_SET_ATTRIBUTES, trim ranges in bytes from offset 32.
BOOL trim(HANDLE drive, const std::vector<std::pair<int64_t, uint64_t>>& ranges, uint32_t flags = 0,
          uint32_t size = 28, uint32_t extraLength = 0) {
    std::vector<uint8_t> block(32 + 16 * ranges.size(), 0);
    const uint32_t length = 16 * static_cast<uint32_t>(ranges.size()) + extraLength;
    const uint32_t header[7] = {size, 1, flags, 0, 0, ranges.empty() ? 0u : 32u, length};
    std::memcpy(block.data(), header, sizeof header);
    for (size_t i = 0; i < ranges.size(); ++i) {
        std::memcpy(&block[32 + 16 * i], &ranges[i].first, 8);
        std::memcpy(&block[40 + 16 * i], &ranges[i].second, 8);
    }
    DWORD returned = 0;
    return zel::deviceApi().deviceIoControl(drive, 0x2D9404, block.data(), static_cast<DWORD>(block.size()), nullptr,
                                            0, &returned, nullptr);
}

}  // namespace

TEST(VirtualHostDrive, OpensOnlyDescribedPresentDisksAndClosesItsTokens) {
    InstalledHost installed(zeltest::routeHost(R"("faults": [{"kind": "absent"}])", 3));
    zel::DeviceApi& api = zel::deviceApi();
    HANDLE first = api.createFile("\\\\.\\physicaldrive0", GENERIC_READ, 3, OPEN_EXISTING, 0);
    HANDLE second = openDrive(0);
    ASSERT_NE(first, INVALID_HANDLE_VALUE);
    ASSERT_NE(second, INVALID_HANDLE_VALUE);
    EXPECT_NE(first, second);
    EXPECT_EQ(installed.host().openHandleCount(), 2u);
    EXPECT_TRUE(api.closeHandle(first));
    EXPECT_TRUE(api.closeHandle(second));
    EXPECT_EQ(installed.host().openHandleCount(), 0u);
    EXPECT_FALSE(api.closeHandle(first)) << "a closed token is no longer the host's and not a valid handle";
    HANDLE port = api.createFile("\\\\.\\SCSI2:", GENERIC_READ | GENERIC_WRITE, 3, OPEN_EXISTING, 0);
    EXPECT_NE(port, INVALID_HANDLE_VALUE);
    api.closeHandle(port);
    // Not described, absent, and the port of an absent disk.
    for (const char* path : {"\\\\.\\PhysicalDrive9", "\\\\.\\PhysicalDrive3", "\\\\.\\SCSI7:", "\\\\.\\SCSI3:"}) {
        SetLastError(0);
        EXPECT_EQ(api.createFile(path, GENERIC_READ, 3, OPEN_EXISTING, 0), INVALID_HANDLE_VALUE) << path;
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND)) << path;
    }
}

TEST(VirtualHostDrive, MisplacedAndReadOnlyTransfersAreRefusedAndWriteNothing) {
    InstalledHost installed(zeltest::routeHost());
    HANDLE drive = openDrive(0);
    ASSERT_NE(drive, INVALID_HANDLE_VALUE);
    std::vector<uint8_t> sector(512), odd(100);
    LARGE_INTEGER before{};
    before.QuadPart = -1;
    EXPECT_FALSE(zel::deviceApi().setFilePointerEx(drive, before, nullptr, FILE_BEGIN));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_NEGATIVE_SEEK));
    const struct {
        int64_t offset;
        std::vector<uint8_t>* data;
        bool write;
        DWORD error;
    } cases[] = {
        {512 * 10 + 3, &sector, false, ERROR_INVALID_PARAMETER},  // unaligned offset
        {0, &odd, true, ERROR_INVALID_PARAMETER},                 // unaligned length
        {131072LL * 512, &sector, false, ERROR_SECTOR_NOT_FOUND},
    };
    for (const auto& c : cases) {
        EXPECT_FALSE(transferAt(drive, c.offset, *c.data, c.write)) << c.offset;
        EXPECT_EQ(GetLastError(), c.error) << c.offset;
    }
    EXPECT_TRUE(zel::deviceApi().flushFileBuffers(drive));
    zel::deviceApi().closeHandle(drive);
    HANDLE readOnly = openDrive(0, 0, GENERIC_READ);
    EXPECT_TRUE(transferAt(readOnly, 0, sector, false));
    EXPECT_FALSE(transferAt(readOnly, 0, sector, true));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
    zel::deviceApi().closeHandle(readOnly);
    EXPECT_TRUE(zeltest::fileExists(installed.stateFile("counters.json")));
    EXPECT_FALSE(zeltest::fileExists(installed.stateFile("disk0.img"))) << "an image appears on a first write only";
}

// The tool reads GetLastError after calls that succeed (PowerBoards does).
TEST(VirtualHostDrive, SuccessLeavesTheCallersLastError) {
    InstalledHost installed(zeltest::routeHost());
    zel::DeviceApi& api = zel::deviceApi();
    HANDLE drive = openDrive(0);
    ASSERT_NE(drive, INVALID_HANDLE_VALUE);
    std::vector<uint8_t> buffer(512);
    DWORD done = 0;
    // The first read and write meet a missing image, the close saves counters.
    const std::pair<const char*, std::function<bool()>> calls[] = {
        {"IOCTL", [&] { return api.deviceIoControl(drive, 0x41018, nullptr, 0, buffer.data(), 8, &done, nullptr); }},
        {"read", [&] { return api.readFile(drive, buffer.data(), 512, &done, nullptr); }},
        {"write", [&] { return api.writeFile(drive, buffer.data(), 512, &done, nullptr); }},
        {"flush", [&] { return api.flushFileBuffers(drive); }},
        {"port write", [&] { return api.portIoOpen() && api.writePort(0x70, 0x0B, 1); }},
        {"close", [&] { return api.closeHandle(drive); }},
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
    ASSERT_NE(drive, INVALID_HANDLE_VALUE);
    std::vector<uint8_t> block(4096);
    auto put32 = [&](size_t at, uint32_t v) { std::memcpy(&block[at], &v, 4); };
    put32(0, 1);             // version
    put32(4, 84);            // length
    put32(36, 0x100);        // data from the device
    put32(52, 0xFFFFFF80);   // its offset: 0x80 once the sum wraps
    block[80] = 0x06;        // IDENTIFY
    DWORD done = 0;
    EXPECT_FALSE(zel::deviceApi().deviceIoControl(drive, 0x2DD3C0, block.data(), 4096, block.data(), 4096, &done,
                                                  nullptr));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
    zel::deviceApi().closeHandle(drive);
}

// Default write errors, corruption and timeouts in a run are checked by
// RwEndToEnd; here range edges, one-shot faults and the described error.
TEST(VirtualHostFaults, EachFaultFailsOnlyItsRangeWithItsError) {
    InstalledHost installed(R"({"disks": [{"number": 0, "busType": 11, "sectorCount": 4096, "latencyMicros": 100,
        "faults": [{"kind": "crc_error", "lba": 8, "count": 1}, {"kind": "timeout", "lba": 32, "count": 1},
                   {"kind": "media_error", "lba": 40, "count": 1, "times": 1},
                   {"kind": "write_error", "lba": 9, "count": 1, "windowsError": 1117},
                   {"kind": "media_error", "lba": 16, "count": 1}]},
        {"number": 1, "busType": 17, "sectorCount": 4096, "faults": [{"kind": "vanish", "after": 2}]}]})");
    HANDLE drive = openDrive(0, FILE_FLAG_NO_BUFFERING);
    const struct {
        uint64_t lba, sectors;
        bool write;
        DWORD error;  // 0: succeeds
    } steps[] = {
        {7, 2, false, ERROR_CRC}, {9, 1, false, 0},        {32, 1, false, ERROR_SEM_TIMEOUT},
        {40, 1, false, ERROR_CRC}, {40, 1, false, 0},      // the media error was set to fire once
        {9, 1, true, ERROR_IO_DEVICE}, {10, 1, true, 0},   // the description's error
    };
    for (const auto& s : steps) {
        std::vector<uint8_t> data(s.sectors * 512);
        SetLastError(0);
        EXPECT_EQ(transferAt(drive, static_cast<int64_t>(s.lba * 512), data, s.write), s.error == 0) << s.lba;
        if (s.error) {
            EXPECT_EQ(GetLastError(), s.error) << s.lba;
        }
    }
    EXPECT_EQ(installed.host().disk(0)->counters().mediaErrors, 1u);
    zel::deviceApi().closeHandle(drive);

    drive = openDrive(0, kQueued);
    std::vector<uint8_t> sector(512);
    Request request(16);
    DWORD done = 0;
    ASSERT_TRUE(pending(zel::deviceApi().readFile(drive, sector.data(), 512, nullptr, &request)));
    EXPECT_FALSE(zel::deviceApi().getOverlappedResult(drive, &request, &done, TRUE)) << "applied on completion";
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_CRC));
    zel::deviceApi().closeHandle(drive);

    HANDLE vanishing = openDrive(1, FILE_FLAG_NO_BUFFERING);
    EXPECT_TRUE(transferAt(vanishing, 0, sector, false));
    EXPECT_TRUE(transferAt(vanishing, 512, sector, true));
    EXPECT_FALSE(transferAt(vanishing, 1024, sector, false));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_DEVICE_NOT_CONNECTED));
    EXPECT_FALSE(zel::deviceApi().flushFileBuffers(vanishing));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_DEVICE_NOT_CONNECTED));
    zel::deviceApi().closeHandle(vanishing);
    EXPECT_EQ(openDrive(1), INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(zel::deviceApi().enumerateInterfaces(zel::InterfaceClass::Disk).size(), 1u) << "disk 1 is gone";
}

// LBAs 0..7 hang; the others take half a minute, far longer than the test.
TEST(VirtualHostOverlapped, CancelAndCloseAbortRequestsThatHaveNotMovedData) {
    InstalledHost installed(R"({"disks": [{"number": 0, "busType": 11, "sectorCount": 4096,
        "latencyMicros": 30000000, "faults": [{"kind": "timeout", "count": 8}]}]})");
    zel::DeviceApi& api = zel::deviceApi();
    HANDLE drive = openDrive(0, kQueued);
    std::vector<uint8_t> buffer(512, 0xC3);
    Request hung(0), slow(8);
    DWORD done = 0;
    ASSERT_TRUE(pending(api.readFile(drive, buffer.data(), 512, nullptr, &hung)));
    ASSERT_TRUE(pending(api.readFile(drive, buffer.data(), 512, nullptr, &slow)));
    EXPECT_FALSE(HasOverlappedIoCompleted(&hung));
    EXPECT_FALSE(api.getOverlappedResult(drive, &hung, &done, FALSE));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_IO_INCOMPLETE));
    for (Request* request : {&hung, &slow}) {
        ASSERT_TRUE(api.cancelIoEx(drive, request));
        ASSERT_EQ(WaitForSingleObject(request->hEvent, 10000), WAIT_OBJECT_0);
        EXPECT_FALSE(api.getOverlappedResult(drive, request, &done, TRUE));
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_OPERATION_ABORTED));
    }
    EXPECT_EQ(buffer, std::vector<uint8_t>(512, 0xC3)) << "an aborted read leaves the buffer alone";
    EXPECT_FALSE(api.cancelIoEx(drive, &hung));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_NOT_FOUND));

    ASSERT_TRUE(pending(api.readFile(drive, buffer.data(), 512, nullptr, &hung)));
    ASSERT_TRUE(pending(api.writeFile(drive, buffer.data(), 512, nullptr, &slow)));
    EXPECT_TRUE(api.closeHandle(drive));
    for (Request* request : {&hung, &slow}) {
        EXPECT_EQ(WaitForSingleObject(request->hEvent, 10000), WAIT_OBJECT_0);
        EXPECT_EQ(request->Internal, static_cast<ULONG_PTR>(ERROR_OPERATION_ABORTED));
    }
}

// What a trimmed range reads back, run after run, is checked by RwEndToEnd.
TEST(VirtualHostTrim, IoctlChecksEveryRangeBeforeTrimming) {
    InstalledHost installed(R"({"disks": [{"number": 1, "busType": 17, "sectorCount": 4096},
                                          {"number": 2, "busType": 7, "sectorCount": 4096}]})");
    HANDLE nvme = openDrive(1, FILE_FLAG_NO_BUFFERING);
    std::vector<uint8_t> data(1024, 0x6B), back(1024);
    ASSERT_TRUE(transferAt(nvme, 5120, data, true));
    const bool malformed[] = {
        invalid(trim(nvme, {{5120, 512}}, 0, 24)), invalid(trim(nvme, {{5120, 512}}, 0, 28, 16)),
        invalid(trim(nvme, {})), invalid(trim(nvme, {{5121, 512}})), invalid(trim(nvme, {{5120, 100}})),
        invalid(trim(nvme, {{5120, 512}}, 1)), invalid(trim(nvme, {{5120, 512}, {4096LL * 512, 512}})),
        invalid(trim(nvme, {{-512, 1024}})),
    };
    for (size_t i = 0; i < std::size(malformed); ++i) EXPECT_TRUE(malformed[i]) << "block " << i;
    ASSERT_TRUE(transferAt(nvme, 5120, back, false));
    EXPECT_EQ(back, data) << "nothing trimmed by a refused request";
    ASSERT_TRUE(trim(nvme, {{5120, 512}}));
    ASSERT_TRUE(transferAt(nvme, 5120, back, false));
    EXPECT_EQ(std::vector<uint8_t>(back.begin(), back.begin() + 512), std::vector<uint8_t>(512, 0));
    EXPECT_EQ(back[512], 0x6B);
    ASSERT_TRUE(trim(nvme, {}, 1)) << "the whole disk";
    ASSERT_TRUE(transferAt(nvme, 5120, back, false));
    EXPECT_EQ(back, std::vector<uint8_t>(1024, 0));

    const std::pair<HANDLE, DWORD> refusals[] = {{openDrive(1, 0, GENERIC_READ), ERROR_ACCESS_DENIED},
                                                 {openDrive(2), ERROR_NOT_SUPPORTED}};  // a USB stick
    for (const auto& r : refusals) {
        EXPECT_FALSE(trim(r.first, {{0, 512}}));
        EXPECT_EQ(GetLastError(), r.second);
    }
}

TEST(VirtualHostSelection, LoadFailuresAreReportedAndLeaveNoDisks) {
    zeltest::TempDir dir;
    zeltest::LogCapture log;
    std::ofstream(dir.file("bad.json")) << R"({"disks": [{"number": 0}]})";
    EXPECT_EQ(zel::vhost::createVirtualHost(dir.file("bad.json")), nullptr);
    EXPECT_TRUE(log.contains("ERROR    [VirtualHost] Cannot load host description " + dir.file("bad.json") +
                             ": disks[0]: capacityBytes or sectorCount is required\n"));
    EXPECT_EQ(zel::vhost::createVirtualHost(dir.file("missing.json")), nullptr);
    EXPECT_TRUE(log.contains("missing.json: cannot open the file\n"));

    std::unique_ptr<zel::DeviceApi> empty = zel::vhost::createUnloadableHost();
    EXPECT_EQ(empty->createFile("\\\\.\\PhysicalDrive0", GENERIC_READ, 3, OPEN_EXISTING, 0), INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_BAD_CONFIGURATION));
    EXPECT_EQ(empty->createFile("\\\\.\\SCSI0:", GENERIC_READ, 3, OPEN_EXISTING, 0), INVALID_HANDLE_VALUE);
    EXPECT_FALSE(empty->portIoOpen()) << "no driver either, so no run on it passes for a good one";
    EXPECT_FALSE(empty->portIoIsOpen());
    EXPECT_FALSE(zeltest::fileExists(dir.file("bad.json.state"))) << "nothing written for a failed load";
}

// Which values start from their defaults is checked by HostState's own test.
TEST(VirtualHostSelection, DamagedCountersAreReportedAndTheDisksKept) {
    zeltest::TempDir dir;
    zeltest::LogCapture log;
    const std::string path = dir.file("host.json");
    std::ofstream(path) << zeltest::routeHost();
    CreateDirectoryA((path + ".state").c_str(), nullptr);
    std::ofstream(path + ".state\\counters.json") << R"({"disks": {"0": {"powerCycles": -1, "bytesRead": 512}}})";
    std::unique_ptr<zel::DeviceApi> api = zel::vhost::createVirtualHost(path);
    ASSERT_NE(api, nullptr);
    EXPECT_TRUE(log.contains("[VirtualHost] Damaged host state " + path +
                             ".state: counters.json.disks.0.powerCycles: expected a non-negative number; it starts "
                             "from its default\n"))
        << log.text();
    EXPECT_EQ(static_cast<zel::vhost::VirtualHost&>(*api).description().disks.size(), 6u);
}

// A relative path reaches Windows; a path on a letter without a virtual
// volume never does (VolumeFilesUseAndReturnTheFreeSpace).
TEST(VirtualHostSelection, RelativePathsReachWindows) {
    InstalledHost installed(zeltest::routeHost());
    zeltest::TempDir dir;
    char previous[MAX_PATH] = {};
    GetCurrentDirectoryA(MAX_PATH, previous);
    ASSERT_TRUE(SetCurrentDirectoryA(dir.path().c_str()));
    HANDLE file = zel::deviceApi().createFile("plain.bin", GENERIC_READ | GENERIC_WRITE, 0, CREATE_ALWAYS,
                                              FILE_ATTRIBUTE_NORMAL);
    SetCurrentDirectoryA(previous);
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    DWORD done = 0;
    EXPECT_TRUE(zel::deviceApi().writeFile(file, "abc", 3, &done, nullptr));
    EXPECT_TRUE(zel::deviceApi().closeHandle(file));
    EXPECT_EQ(zeltest::readFile(dir.file("plain.bin")), "abc");
    EXPECT_EQ(installed.host().openHandleCount(), 0u);
}

namespace {

zeltest::ChildResult runOnHost(const zeltest::TempDir& dir, const std::string& description,
                               const std::string& arguments) {
    std::ofstream(dir.file("host.json"), std::ios::binary) << description;
    return zeltest::runZelCli(arguments, dir.path(), {"ZELCLI_VHOST=" + dir.file("host.json")});
}

}  // namespace

TEST(VirtualHostEndToEnd, InfoOnAnUnloadableHostFails) {
    for (const char* description : {"{", R"({"portIoDriver": "yes", "disks": []})"}) {
        zeltest::TempDir dir;
        const zeltest::ChildResult info = runOnHost(dir, description, "--info");
        EXPECT_EQ(info.exitCode, 0x20000001u) << description << "\n" << info.output;
        EXPECT_NE(info.output.find("Cannot load host description"), std::string::npos) << info.output;
    }
}

// Disk 1's default controller id used to be part of those of disks 10..19,
// and an NVMe disk without a provider was answered on another route than
// the one the tool took for it.
TEST(VirtualHostEndToEnd, DisksNumberedTenAndUpKeepTheirOwnController) {
    const std::string description = R"({"disks": [
        {"number": 1, "busType": 17, "model": "One", "driver": {"provider": "Microsoft"}, "sectorCount": 4096},
        {"number": 10, "busType": 17, "model": "Ten", "driver": {"provider": "Other Vendor"}, "sectorCount": 4096},
        {"number": 11, "busType": 17, "model": "Eleven", "sectorCount": 4096},
        {"number": 12, "busType": 8, "model": "Twelve", "driver": {"provider": "Intel"}, "sectorCount": 4096}]})";
    zeltest::TempDir dir;
    const zeltest::ChildResult info = runOnHost(dir, description, "--info --out-ini all.ini");
    EXPECT_EQ(info.exitCode, 0u) << info.output;
    const struct {
        int disk;
        int protocol;
    } expected[] = {{1, 6}, {10, 7}, {11, 6}, {12, 8}};  // inbox, miniport, inbox, RST
    for (const auto& e : expected) {
        const std::string section = "Disk" + std::to_string(e.disk);
        EXPECT_EQ(GetPrivateProfileIntA(section.c_str(), "ProtocolType", -1, dir.file("all.ini").c_str()), e.protocol)
            << section;
    }

    InstalledHost installed(description);
    zel::DiskList::instance().reset();
    for (const auto& e : expected) {
        zel::DiskBase* disk = zel::DiskList::instance().get(false).findDisk(zel::DiskSelector::byNumber(e.disk));
        ASSERT_NE(disk, nullptr) << e.disk;
        std::vector<uint8_t> identify;
        EXPECT_EQ(disk->identify(&identify), 0u) << "the host answers on the tool's route, disk " << e.disk;
    }
    zel::DiskList::instance().reset();
}

// Fill files, free space reports and a full volume in a run are checked by
// FileModesEndToEnd; here the edges of the accounting and the refusals.
TEST(VirtualHostFiles, VolumeFilesUseAndReturnTheFreeSpace) {
    InstalledHost installed(R"({"disks": [{"number": 0, "sectorCount": 8192,
        "volumes": [{"letter": "E", "totalBytes": 65536, "freeBytes": 8192}]}]})");
    zel::DeviceApi& api = zel::deviceApi();
    auto freeBytes = [&] {
        zel::VolumeSpace space;
        EXPECT_TRUE(api.getVolumeSpace('e', &space));
        return space.free;
    };
    ASSERT_TRUE(api.createDirectory("E:\\sub"));
    HANDLE file = api.createFile("e:/sub/../sub/a.bin", GENERIC_WRITE, 0, CREATE_ALWAYS, 0);
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    const std::vector<char> data(6000, 'x');
    DWORD done = 0;
    EXPECT_TRUE(api.writeFile(file, data.data(), 6000, &done, nullptr));
    EXPECT_FALSE(api.writeFile(file, data.data(), 2193, &done, nullptr)) << "one byte more than is free";
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_DISK_FULL));
    EXPECT_EQ(done, 0u);
    LARGE_INTEGER start{};
    EXPECT_TRUE(api.setFilePointerEx(file, start, nullptr, FILE_BEGIN));
    EXPECT_TRUE(api.writeFile(file, data.data(), 6000, &done, nullptr)) << "overwriting costs nothing";
    EXPECT_TRUE(api.writeFile(file, data.data(), 2192, &done, nullptr)) << "exactly what is free";
    EXPECT_TRUE(api.closeHandle(file));
    EXPECT_EQ(freeBytes(), 0u);
    EXPECT_TRUE(api.deleteFile("E:\\sub\\a.bin"));
    EXPECT_EQ(freeBytes(), 8192u) << "a deleted file gives its space back";

    for (const char* refused : {"C:\\x.bin", "F:\\x.bin"}) {
        SetLastError(0);
        EXPECT_EQ(api.createFile(refused, GENERIC_WRITE, 0, CREATE_ALWAYS, 0), INVALID_HANDLE_VALUE) << refused;
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_PATH_NOT_FOUND)) << "no volume there in a dry run";
    }
    EXPECT_FALSE(api.deleteFile("C:\\windows\\win.ini"));
    EXPECT_EQ(api.createFile("E:\\a?b", GENERIC_WRITE, 0, CREATE_ALWAYS, 0), INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_NAME));
}
