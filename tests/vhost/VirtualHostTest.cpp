#include <gtest/gtest.h>
#include <windows.h>
#include <winioctl.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <utility>
#include <vector>

#include "core/DriveOpener.h"
#include "disk/DiskList.h"
#include "disk/DiskTypes.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/InstalledHost.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TestHosts.h"

using zeltest::InstalledHost;

TEST(VirtualHostDrive, DescriptorGeometryAddressAndQueries) {
    InstalledHost installed(zeltest::routeHost());
    zel::SharedHandle drive = zel::openPhysicalDrive(5, FILE_ATTRIBUTE_NORMAL);
    ASSERT_TRUE(drive);
    zel::DeviceApi& api = zel::deviceApi();

    STORAGE_PROPERTY_QUERY query{};
    query.PropertyId = StorageDeviceProperty;
    query.QueryType = PropertyStandardQuery;
    std::vector<uint8_t> buffer(1024);
    DWORD returned = 0;
    ASSERT_TRUE(api.deviceIoControl(drive.get(), IOCTL_STORAGE_QUERY_PROPERTY, &query, 12, buffer.data(), 1024,
                                    &returned, nullptr));
    // Strings, sizes and sector counts reach the disk list through its parsers,
    // which are checked against these structures; here only what it ignores.
    const auto* descriptor = reinterpret_cast<const STORAGE_DEVICE_DESCRIPTOR*>(buffer.data());
    EXPECT_EQ(descriptor->Version, sizeof(STORAGE_DEVICE_DESCRIPTOR));
    EXPECT_EQ(descriptor->Size, returned);
    EXPECT_TRUE(descriptor->RemovableMedia);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(&buffer[descriptor->VendorIdOffset])), "Stick");
    DISK_GEOMETRY_EX geometry{};
    ASSERT_TRUE(api.deviceIoControl(drive.get(), IOCTL_DISK_GET_DRIVE_GEOMETRY_EX, nullptr, 0, &geometry, 40,
                                    &returned, nullptr));
    EXPECT_EQ(geometry.Geometry.MediaType, RemovableMedia);

    uint8_t address[8] = {};
    ASSERT_TRUE(api.deviceIoControl(drive.get(), 0x41018, nullptr, 0, address, 8, &returned, nullptr));
    EXPECT_EQ(returned, 8u);
    EXPECT_EQ(address[4], 5) << "port number";

    query.QueryType = PropertyExistsQuery;
    EXPECT_TRUE(api.deviceIoControl(drive.get(), IOCTL_STORAGE_QUERY_PROPERTY, &query, 12, nullptr, 0, &returned,
                                    nullptr));
    query.PropertyId = static_cast<STORAGE_PROPERTY_ID>(49);
    EXPECT_FALSE(api.deviceIoControl(drive.get(), IOCTL_STORAGE_QUERY_PROPERTY, &query, 12, nullptr, 0, &returned,
                                     nullptr))
        << "a USB disk has no NVMe protocol data";
    query.QueryType = PropertyStandardQuery;
    query.PropertyId = static_cast<STORAGE_PROPERTY_ID>(99);
    EXPECT_FALSE(api.deviceIoControl(drive.get(), IOCTL_STORAGE_QUERY_PROPERTY, &query, 12, buffer.data(), 1024,
                                     &returned, nullptr));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_FUNCTION));
}

TEST(VirtualHostDrive, OpensOnlyDescribedPresentDisksAndClosesItsTokens) {
    InstalledHost installed(zeltest::routeHost(R"("faults": [{"kind": "absent"}])", 3));
    zel::DeviceApi& api = zel::deviceApi();
    HANDLE missing = api.createFile("\\\\.\\PhysicalDrive9", GENERIC_READ, 3, OPEN_EXISTING, 0);
    EXPECT_EQ(missing, INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
    HANDLE first = api.createFile("\\\\.\\physicaldrive0", GENERIC_READ, 3, OPEN_EXISTING, 0);
    HANDLE second = api.createFile("\\\\.\\PhysicalDrive0", GENERIC_READ, 3, OPEN_EXISTING, 0);
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
    EXPECT_EQ(api.createFile("\\\\.\\SCSI7:", GENERIC_READ, 3, OPEN_EXISTING, 0), INVALID_HANDLE_VALUE);
    EXPECT_EQ(api.createFile("\\\\.\\PhysicalDrive3", GENERIC_READ, 3, OPEN_EXISTING, 0), INVALID_HANDLE_VALUE)
        << "absent";
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(api.createFile("\\\\.\\SCSI3:", GENERIC_READ, 3, OPEN_EXISTING, 0), INVALID_HANDLE_VALUE)
        << "an absent disk's port goes with it";
}

namespace {

HANDLE openDrive(int number, DWORD access = GENERIC_READ | GENERIC_WRITE, DWORD flags = 0) {
    return zel::deviceApi().createFile(("\\\\.\\PhysicalDrive" + std::to_string(number)).c_str(), access, 3,
                                       OPEN_EXISTING, flags);
}

bool seek(HANDLE drive, int64_t offset, DWORD method = FILE_BEGIN, int64_t* now = nullptr) {
    LARGE_INTEGER distance, position;
    distance.QuadPart = offset;
    const BOOL ok = zel::deviceApi().setFilePointerEx(drive, distance, &position, method);
    if (now) *now = position.QuadPart;
    return ok;
}

}  // namespace

TEST(VirtualHostDrive, ReadWriteSeekOverlappedIoAndRestart) {
    InstalledHost installed(zeltest::routeHost());
    zel::DeviceApi& api = zel::deviceApi();
    HANDLE drive = openDrive(0);
    ASSERT_NE(drive, INVALID_HANDLE_VALUE);
    std::vector<uint8_t> data(4096), back(4096);
    for (size_t i = 0; i < data.size(); ++i) data[i] = static_cast<uint8_t>(i % 251);
    DWORD done = 0;
    ASSERT_TRUE(seek(drive, 512 * 10));
    ASSERT_TRUE(api.writeFile(drive, data.data(), 4096, &done, nullptr));
    EXPECT_EQ(done, 4096u);
    int64_t position = 0;
    ASSERT_TRUE(seek(drive, 0, FILE_CURRENT, &position));
    EXPECT_EQ(position, 512 * 18) << "the position moves with the transfer";
    ASSERT_TRUE(seek(drive, -512 * 8, FILE_CURRENT));
    ASSERT_TRUE(api.readFile(drive, back.data(), 4096, &done, nullptr));
    EXPECT_EQ(back, data);
    ASSERT_TRUE(seek(drive, 0, FILE_END, &position));
    EXPECT_EQ(position, 131072LL * 512);
    EXPECT_FALSE(seek(drive, -1, FILE_BEGIN));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_NEGATIVE_SEEK));

    ASSERT_TRUE(seek(drive, 512 * 10 + 3));
    EXPECT_FALSE(api.readFile(drive, back.data(), 512, &done, nullptr));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER)) << "unaligned offset";
    ASSERT_TRUE(seek(drive, 0));
    EXPECT_FALSE(api.readFile(drive, back.data(), 100, &done, nullptr));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER)) << "unaligned length";
    ASSERT_TRUE(seek(drive, 131072LL * 512));
    EXPECT_FALSE(api.readFile(drive, back.data(), 512, &done, nullptr));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_SECTOR_NOT_FOUND));

    OVERLAPPED overlapped{};
    overlapped.Offset = 512 * 10;
    overlapped.hEvent = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    std::vector<uint8_t> async(512);
    const BOOL started = api.readFile(drive, async.data(), 512, nullptr, &overlapped);
    EXPECT_TRUE(started || GetLastError() == ERROR_IO_PENDING);
    EXPECT_EQ(WaitForSingleObject(overlapped.hEvent, 1000), WAIT_OBJECT_0);
    ASSERT_TRUE(api.getOverlappedResult(drive, &overlapped, &done, TRUE));
    EXPECT_EQ(done, 512u);
    EXPECT_EQ(std::vector<uint8_t>(async.begin(), async.end()), std::vector<uint8_t>(data.begin(), data.begin() + 512));
    CloseHandle(overlapped.hEvent);
    EXPECT_TRUE(api.flushFileBuffers(drive));
    api.closeHandle(drive);

    HANDLE readOnly = openDrive(0, GENERIC_READ);
    EXPECT_FALSE(api.writeFile(readOnly, data.data(), 512, &done, nullptr));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
    api.closeHandle(readOnly);

    // Contents and counters live in the state folder and survive a restart.
    EXPECT_TRUE(zeltest::fileExists(installed.stateFile("counters.json")));
    EXPECT_FALSE(zeltest::fileExists(installed.stateFile("disk1.img"))) << "images appear on first write only";
    installed.restart();
    EXPECT_EQ(installed.host().disk(0)->counters().bytesWritten, 4096u);
    EXPECT_EQ(installed.host().disk(0)->counters().writeCommands, 1u);
    drive = openDrive(0);
    ASSERT_TRUE(seek(drive, 512 * 10));
    ASSERT_TRUE(zel::deviceApi().readFile(drive, back.data(), 4096, &done, nullptr));
    zel::deviceApi().closeHandle(drive);
    EXPECT_EQ(back, data);
}

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

TEST(VirtualHostFaults, DriveLevelFaults) {
    InstalledHost installed(zeltest::routeHost(
        R"("faults": [{"kind": "crc_error", "lba": 8, "count": 1},
                      {"kind": "corrupt", "lba": 16, "count": 2},
                      {"kind": "timeout", "lba": 32, "count": 1},
                      {"kind": "media_error", "lba": 40, "count": 1, "times": 1}])",
        0));
    zel::DeviceApi& api = zel::deviceApi();
    HANDLE drive = openDrive(0);
    std::vector<uint8_t> buffer(1024);
    DWORD done = 0;
    auto readAt = [&](uint64_t lba, DWORD size) {
        seek(drive, static_cast<int64_t>(lba * 512));
        return api.readFile(drive, buffer.data(), size, &done, nullptr);
    };
    EXPECT_FALSE(readAt(7, 1024));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_CRC));
    EXPECT_TRUE(readAt(9, 512));
    EXPECT_TRUE(readAt(15, 1024));
    EXPECT_EQ(buffer[0], 0x00) << "sector 15 is intact";
    EXPECT_EQ(buffer[512], 0xFF) << "sector 16 comes back altered, silently";
    EXPECT_FALSE(readAt(32, 512));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_SEM_TIMEOUT));
    EXPECT_FALSE(readAt(40, 512));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_CRC));
    EXPECT_TRUE(readAt(40, 512)) << "the media error was set to fire once";
    EXPECT_EQ(installed.host().disk(0)->counters().mediaErrors, 1u);
    api.closeHandle(drive);
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

    std::ofstream(dir.file("typed.json")) << R"({"portIoDriver": "yes", "disks": []})";
    EXPECT_EQ(zel::vhost::createVirtualHost(dir.file("typed.json")), nullptr);
    EXPECT_TRUE(log.contains("typed.json: host.portIoDriver: expected true or false\n"));

    std::unique_ptr<zel::DeviceApi> empty = zel::vhost::createUnloadableHost();
    EXPECT_EQ(empty->createFile("\\\\.\\PhysicalDrive0", GENERIC_READ, 3, OPEN_EXISTING, 0), INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_BAD_CONFIGURATION));
    EXPECT_EQ(empty->createFile("\\\\.\\SCSI0:", GENERIC_READ, 3, OPEN_EXISTING, 0), INVALID_HANDLE_VALUE);
    EXPECT_FALSE(empty->portIoOpen()) << "no driver either, so no run on it passes for a good one";
    EXPECT_FALSE(empty->portIoIsOpen());
    EXPECT_FALSE(zeltest::fileExists(dir.file("bad.json.state"))) << "nothing written for a failed load";
}

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
    auto& host = static_cast<zel::vhost::VirtualHost&>(*api);
    EXPECT_EQ(host.disk(0)->counters().powerCycles, 0u);
    EXPECT_EQ(host.disk(0)->counters().bytesRead, 512u) << "the sound counters are kept";
    EXPECT_EQ(host.description().disks.size(), 6u);
}

// Paths off the drive letters reach Windows; a path on a letter that no
// virtual volume has never does, so a dry run cannot write the machine's
// own drives through the seam.
TEST(VirtualHostSelection, PathsItDoesNotOwnReachWindows) {
    InstalledHost installed(zeltest::routeHost());
    zeltest::TempDir dir;
    const std::string path = dir.file("plain.bin");
    EXPECT_EQ(zel::deviceApi().createFile(path.c_str(), GENERIC_WRITE, 0, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL),
              INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_PATH_NOT_FOUND));
    EXPECT_FALSE(std::filesystem::exists(path));

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
    EXPECT_EQ(zeltest::readFile(path), "abc");
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

// Files on a volume's letter: kept in the state folder, the volume's free
// space shrinking and growing with them, never more than it holds.
TEST(VirtualHostFiles, VolumeFilesUseAndReturnTheFreeSpace) {
    InstalledHost installed(R"({"disks": [{"number": 0, "sectorCount": 8192,
        "volumes": [{"letter": "E", "totalBytes": 65536, "freeBytes": 8192}]}]})");
    zel::DeviceApi& api = zel::deviceApi();
    auto freeBytes = [&] {
        zel::VolumeSpace space;
        EXPECT_TRUE(api.getVolumeSpace('e', &space));
        EXPECT_EQ(space.total, 65536u);
        return space.free;
    };
    ASSERT_TRUE(api.createDirectory("E:\\sub"));
    HANDLE file = api.createFile("e:/sub/../sub/a.bin", GENERIC_WRITE, 0, CREATE_ALWAYS, 0);
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    const std::vector<char> data(6000, 'x');
    DWORD done = 0;
    EXPECT_TRUE(api.writeFile(file, data.data(), 6000, &done, nullptr));
    EXPECT_EQ(freeBytes(), 2192u);
    SetLastError(0);
    EXPECT_FALSE(api.writeFile(file, data.data(), 2193, &done, nullptr)) << "one byte more than is free";
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_DISK_FULL));
    EXPECT_EQ(done, 0u);
    LARGE_INTEGER start{};
    EXPECT_TRUE(api.setFilePointerEx(file, start, nullptr, FILE_BEGIN));
    EXPECT_TRUE(api.writeFile(file, data.data(), 6000, &done, nullptr)) << "overwriting costs nothing";
    EXPECT_TRUE(api.writeFile(file, data.data(), 2192, &done, nullptr)) << "exactly what is free";
    EXPECT_TRUE(api.closeHandle(file));
    EXPECT_EQ(freeBytes(), 0u);
    EXPECT_EQ(std::filesystem::file_size(installed.stateFile("volumes\\E\\sub\\a.bin")), 8192u);

    std::vector<zel::FoundFile> found;
    ASSERT_TRUE(api.findFiles("E:\\sub", &found));
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].name, "a.bin");
    EXPECT_EQ(found[0].size, 8192u);
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
