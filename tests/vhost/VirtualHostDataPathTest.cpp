// The data path as the read/write engine drives it: overlapped requests and
// their counters, faults on the drive path, the trim IOCTL and the
// write-and-trim vendor command on every NVMe route.
#include <gtest/gtest.h>
#include <windows.h>

#include <cstring>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "protocol/CommandRecords.h"
#include "protocol/ProtocolRegistry.h"
#include "tests/support/InstalledHost.h"
#include "tests/support/TestHosts.h"

using zeltest::InstalledHost;

namespace {

constexpr DWORD kQueued = FILE_FLAG_NO_BUFFERING | FILE_FLAG_OVERLAPPED;

HANDLE openDrive(int number, DWORD flags, DWORD access = GENERIC_READ | GENERIC_WRITE) {
    return zel::deviceApi().createFile(("\\\\.\\PhysicalDrive" + std::to_string(number)).c_str(), access, 3,
                                       OPEN_EXISTING, flags);
}

std::string sataDisk(const std::string& fields) {
    return R"({"disks": [{"number": 0, "busType": 11, "sectorCount": 4096, )" + fields + "}]}";
}

// A synchronous transfer at an LBA; false with the Windows last error.
bool transferAt(HANDLE drive, uint64_t lba, std::vector<uint8_t>& data, bool write) {
    LARGE_INTEGER at;
    at.QuadPart = static_cast<LONGLONG>(lba * 512);
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

TEST(VirtualHostOverlapped, QueueDepth32CompletesEveryRequestWithItsData) {
    InstalledHost installed(sataDisk(R"("latencyMicros": {"min": 100, "max": 20000})"));
    zel::DeviceApi& api = zel::deviceApi();
    HANDLE drive = openDrive(0, kQueued);
    constexpr int kDepth = 32;
    std::vector<std::vector<uint8_t>> written(kDepth), read(kDepth, std::vector<uint8_t>(4096));
    for (int i = 0; i < kDepth; ++i) written[i].assign(4096, static_cast<uint8_t>(i + 1));
    for (bool write : {true, false}) {
        std::vector<Request> requests(kDepth);
        std::vector<HANDLE> events;
        for (int i = 0; i < kDepth; ++i) {
            requests[i].Offset = 4096 * i;
            events.push_back(requests[i].hEvent);
            EXPECT_TRUE(pending(write ? api.writeFile(drive, written[i].data(), 4096, nullptr, &requests[i])
                                      : api.readFile(drive, read[i].data(), 4096, nullptr, &requests[i])));
        }
        ASSERT_EQ(WaitForMultipleObjects(kDepth, events.data(), TRUE, 60000), WAIT_OBJECT_0) << "every event set";
        for (Request& request : requests) {
            DWORD done = 0;
            EXPECT_TRUE(api.getOverlappedResult(drive, &request, &done, TRUE));
            EXPECT_EQ(done, 4096u);
        }
    }
    EXPECT_EQ(read, written);
    api.closeHandle(drive);
    installed.restart();
    EXPECT_EQ(installed.host().disk(0)->counters().writeCommands, 32u) << "counted on completion, and kept";
    EXPECT_EQ(installed.host().disk(0)->counters().bytesRead, 32u * 4096);
}

// LBAs 0..7 hang; the others take half a minute, far longer than the test.
TEST(VirtualHostOverlapped, CancelAndCloseAbortRequestsThatHaveNotMovedData) {
    InstalledHost installed(sataDisk(R"("latencyMicros": 30000000, "faults": [{"kind": "timeout", "count": 8}])"));
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
    HANDLE sync = openDrive(0, FILE_FLAG_NO_BUFFERING);
    EXPECT_FALSE(transferAt(sync, 0, buffer, false)) << "a synchronous read gives up";
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_SEM_TIMEOUT));
    api.closeHandle(sync);
}

TEST(VirtualHostFaults, WriteErrorsMediaErrorsAndAVanishingDisk) {
    InstalledHost installed(R"({"disks": [{"number": 0, "busType": 11, "sectorCount": 4096, "latencyMicros": 100,
        "faults": [{"kind": "write_error", "lba": 8, "count": 1},
        {"kind": "write_error", "lba": 9, "count": 1, "windowsError": 1117},
        {"kind": "media_error", "lba": 16, "count": 1}]},
        {"number": 1, "busType": 17, "sectorCount": 4096, "faults": [{"kind": "vanish", "after": 2}]}]})");
    zel::DeviceApi& api = zel::deviceApi();
    HANDLE drive = openDrive(0, kQueued);
    std::vector<uint8_t> sector(512);
    EXPECT_FALSE(transferAt(drive, 8, sector, true));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_WRITE_FAULT));
    EXPECT_FALSE(transferAt(drive, 9, sector, true));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_IO_DEVICE)) << "the description's error";
    Request request(16);
    DWORD done = 0;
    ASSERT_TRUE(pending(api.readFile(drive, sector.data(), 512, nullptr, &request)));
    EXPECT_FALSE(api.getOverlappedResult(drive, &request, &done, TRUE)) << "the fault applies on completion";
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_CRC));
    api.closeHandle(drive);

    HANDLE vanishing = openDrive(1, FILE_FLAG_NO_BUFFERING);
    EXPECT_TRUE(transferAt(vanishing, 0, sector, false));
    EXPECT_TRUE(transferAt(vanishing, 1, sector, true));
    EXPECT_FALSE(transferAt(vanishing, 2, sector, false));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_DEVICE_NOT_CONNECTED));
    EXPECT_FALSE(api.flushFileBuffers(vanishing));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_DEVICE_NOT_CONNECTED));
    api.closeHandle(vanishing);
    EXPECT_EQ(openDrive(1, 0), INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(api.enumerateInterfaces(zel::InterfaceClass::Disk).size(), 1u) << "disk 1 is gone";
}

TEST(VirtualHostTrim, IoctlChecksEveryRangeBeforeTrimming) {
    InstalledHost installed(R"({"disks": [{"number": 1, "busType": 17, "sectorCount": 4096},
                                          {"number": 2, "busType": 7, "sectorCount": 4096}]})");
    HANDLE nvme = openDrive(1, FILE_FLAG_NO_BUFFERING);
    std::vector<uint8_t> data(1024, 0x6B), back(1024);
    ASSERT_TRUE(transferAt(nvme, 10, data, true));
    const bool malformed[] = {
        invalid(trim(nvme, {{5120, 512}}, 0, 24)), invalid(trim(nvme, {{5120, 512}}, 0, 28, 16)),
        invalid(trim(nvme, {})), invalid(trim(nvme, {{5121, 512}})), invalid(trim(nvme, {{5120, 100}})),
        invalid(trim(nvme, {{5120, 512}}, 1)), invalid(trim(nvme, {{5120, 512}, {4096LL * 512, 512}})),
        invalid(trim(nvme, {{-512, 1024}})),
    };
    for (size_t i = 0; i < std::size(malformed); ++i) EXPECT_TRUE(malformed[i]) << "block " << i;
    ASSERT_TRUE(transferAt(nvme, 10, back, false));
    EXPECT_EQ(back, data) << "nothing trimmed by a refused request";
    ASSERT_TRUE(trim(nvme, {{5120, 512}}));
    ASSERT_TRUE(transferAt(nvme, 10, back, false));
    EXPECT_EQ(std::vector<uint8_t>(back.begin(), back.begin() + 512), std::vector<uint8_t>(512, 0));
    EXPECT_EQ(back[512], 0x6B);
    ASSERT_TRUE(trim(nvme, {}, 1)) << "the whole disk";
    installed.restart();
    nvme = openDrive(1, FILE_FLAG_NO_BUFFERING);
    EXPECT_TRUE(transferAt(nvme, 10, back, false));
    EXPECT_EQ(back, std::vector<uint8_t>(1024, 0)) << "still trimmed in the next run";

    const std::pair<HANDLE, DWORD> refusals[] = {{openDrive(1, 0, GENERIC_READ), ERROR_ACCESS_DENIED},
                                                 {openDrive(2, 0), ERROR_NOT_SUPPORTED}};  // a USB stick
    for (const auto& r : refusals) {
        EXPECT_FALSE(trim(r.first, {{0, 512}}));
        EXPECT_EQ(GetLastError(), r.second);
    }
}

// The vendor command behind the write-and-trim mode, answered from the description.
TEST(VirtualHostWriteTrimRanges, AnsweredOnEveryNvmeRoute) {
    const std::pair<zel::ProtocolCode, uint32_t> routes[] = {{zel::ProtocolCode::kNvmeByStornvme, 1},
                                                             {zel::ProtocolCode::kNvmeByIrst, 2},
                                                             {zel::ProtocolCode::kNvmeByScsiMiniport, 3}};
    for (const auto& route : routes) {
        InstalledHost installed(zeltest::routeHost(
            R"("writeTrimRanges": [{"lba": 64, "sectors": 32}, {"lba": 4096, "sectors": 8, "op": "trim"}])",
            static_cast<int>(route.second)));
        zel::NvmeCommand command;
        command.command[0] = 0xC6;
        command.setDword(1, 1);
        command.setDword(10, 1023);
        command.direction = zel::nvmedir::kFromDevice;
        command.diskNumber = route.second;
        std::vector<uint8_t> data(4096);
        ASSERT_TRUE(zel::createProtocol(route.first)->sendCommand(route.second, data.data(), 4096, &command));
        uint32_t answer[10];  // count, reserved, then {lba (2 dwords), sectors, op} per range
        std::memcpy(answer, data.data(), sizeof answer);
        const std::vector<uint32_t> expected{2, 0, 64, 0, 32, 1, 4096, 0, 8, 2};
        EXPECT_EQ(std::vector<uint32_t>(answer, answer + 10), expected) << "disk " << route.second;
    }
}
