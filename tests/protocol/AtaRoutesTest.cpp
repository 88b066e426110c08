#include <gtest/gtest.h>
#include <windows.h>

#include <cstring>
#include <vector>

#include "core/ErrorCodes.h"
#include "protocol/CommandRecords.h"
#include "protocol/ProtocolRegistry.h"
#include "tests/support/Commands.h"
#include "tests/support/InstalledHost.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TestHosts.h"
#include "vhost/AtaDevice.h"
#include "vhost/VirtualHost.h"

using namespace zel;
using zeltest::InstalledHost;
using zeltest::LogCapture;
using zeltest::ataCommand;
using zeltest::ataString;
using zeltest::identifyCommand;

namespace {

void writeSectors(uint32_t disk, uint64_t lba, const std::vector<uint8_t>& data) {
    HANDLE drive = deviceApi().createFile(("\\\\.\\PhysicalDrive" + std::to_string(disk)).c_str(),
                                          GENERIC_READ | GENERIC_WRITE, 3, OPEN_EXISTING, 0);
    ASSERT_NE(drive, INVALID_HANDLE_VALUE);
    LARGE_INTEGER at;
    at.QuadPart = static_cast<LONGLONG>(lba * 512);
    DWORD done = 0;
    ASSERT_TRUE(deviceApi().setFilePointerEx(drive, at, nullptr, FILE_BEGIN));
    ASSERT_TRUE(deviceApi().writeFile(drive, data.data(), static_cast<DWORD>(data.size()), &done, nullptr));
    deviceApi().closeHandle(drive);
}

std::vector<uint8_t> pattern(size_t size, uint8_t seed) {
    std::vector<uint8_t> data(size);
    for (size_t i = 0; i < size; ++i) data[i] = static_cast<uint8_t>(seed + i * 7);
    return data;
}

}  // namespace

TEST(AtaProtocolOverAta, IdentifyAndSmartReachTheDrive) {
    InstalledHost installed(zeltest::routeHost());
    LogCapture log;
    auto route = createProtocol(ProtocolCode::kAtaOverAta);
    std::vector<uint8_t> sector(512);

    AtaCommand identify = identifyCommand();
    ASSERT_TRUE(route->sendCommand(0u, sector.data(), 512, &identify));
    EXPECT_EQ(ataString(sector.data(), 27, 20), "Test SATA SSD");
    EXPECT_EQ(ataString(sector.data(), 10, 10), "SATA0001");
    EXPECT_EQ(+identify.timeout, 8u) << "timeout 0 becomes 8 in the record";
    EXPECT_EQ(+identify.command, 0x50) << "STATUS register read back";
    const vhost::DecodedRequest request = installed.host().lastRequest();
    EXPECT_EQ(request.ioctl, 0x4D030u);
    EXPECT_EQ(request.inSize, 48u);
    EXPECT_EQ(request.ataFlags, 0x03) << "data in plus DRDY required";
    EXPECT_EQ(request.timeout, 8u);
    EXPECT_EQ(request.transferLength, 512u);
    const vhost::AtaTaskFile& seen = installed.host().disk(0)->ata()->lastCommand();
    EXPECT_EQ(seen.command, 0xEC);
    EXPECT_EQ(seen.count, 1);
    EXPECT_EQ(seen.device, 0xA0);
    EXPECT_TRUE(log.contains("DEBUG    [AtaProtocolOverAta] Send command: FEATURE=0x00, COUNT=0x01, "
                             "LBA=0x000000, DEVICE=0xA0, COMMAND=0xEC, dataSize=512\n"));

    AtaCommand smart = ataCommand(0xB0, ataflags::kDataIn, 0xC24F00, 1, 0xA0, 0xD0);
    ASSERT_TRUE(route->sendCommand(0u, sector.data(), 512, &smart));
    EXPECT_EQ(sector[0], 0x10);
    EXPECT_EQ(sector[2], 5) << "first attribute id";
    EXPECT_EQ(sector[2 + 3], 100) << "current value";
    EXPECT_EQ(sector[2 + 5], 7) << "raw value";
    EXPECT_EQ(sector[14], 12) << "second attribute id";
    uint8_t sum = 0;
    for (uint8_t byte : sector) sum += byte;
    EXPECT_EQ(sum, 0) << "SMART data checksum";
    EXPECT_EQ(installed.host().disk(0)->ata()->lastCommand().feature, 0xD0);
    EXPECT_EQ(installed.host().disk(0)->ata()->lastCommand().lba, 0xC24F00u);
}

TEST(AtaProtocolOverAta, TaskFileOf28And48BitCommands) {
    InstalledHost installed(zeltest::routeHost());
    LogCapture log;
    auto route = createProtocol(ProtocolCode::kAtaOverAta);
    const std::vector<uint8_t> written = pattern(1024, 3);
    writeSectors(0, 0x1234, written);

    std::vector<uint8_t> data(1024);
    AtaCommand readDmaExt = ataCommand(0x25, ataflags::kDataIn | ataflags::k48Bit | ataflags::kDma, 0x1234, 2, 0x40);
    ASSERT_TRUE(route->sendCommand(0u, data.data(), 1024, &readDmaExt));
    EXPECT_EQ(data, written);
    EXPECT_EQ(installed.host().lastRequest().ataFlags, 0x1B);

    AtaCommand wide = readDmaExt;
    EXPECT_EQ(+wide.command, 0x50) << "the record now holds the STATUS register";
    wide.command = 0x25;
    wide.lba = 0x123456789ABCull;
    wide.feature = 0xAB12;
    wide.count = 0x0102;
    EXPECT_FALSE(route->sendCommand(0u, data.data(), 1024, &wide)) << "beyond the end: ID not found";
    const vhost::AtaTaskFile& seen = installed.host().disk(0)->ata()->lastCommand();
    EXPECT_EQ(seen.lba, 0x123456789ABCull);
    EXPECT_EQ(seen.feature, 0xAB12);
    EXPECT_EQ(seen.count, 0x0102);
    EXPECT_EQ(seen.device, 0x40);
    EXPECT_TRUE(log.contains("[AtaProtocolOverAta] Send command: FEATURE=0xAB12, COUNT=0x0102, "
                             "LBA=0x123456789ABC, DEVICE=0x40, COMMAND=0x25, dataSize=1024"));

    AtaCommand narrow = ataCommand(0x20, ataflags::kDataIn, 0x30ABCDEF1ull, 1, 0xE0);
    route->sendCommand(0u, data.data(), 512, &narrow);
    EXPECT_EQ(installed.host().disk(0)->ata()->lastCommand().device, 0xEA);
    EXPECT_EQ(installed.host().disk(0)->ata()->lastCommand().lba, 0x0ABCDEF1u) << "bits 27..24 from the device byte";
    EXPECT_TRUE(log.contains("FEATURE=0x00, COUNT=0x01, LBA=0x30ABCDEF1, DEVICE=0xE0, COMMAND=0x20, dataSize=512"))
        << "the 28-bit line prints the whole field";
}

TEST(AtaProtocolOverAta, FailuresAndTheirCodes) {
    InstalledHost installed(zeltest::routeHost(
        R"("faults": [{"kind": "ata_error", "opcode": "0xB0", "status": "0x51", "error": "0x04"},
                      {"kind": "media_error", "lba": 100, "count": 4}])",
        0));
    auto route = createProtocol(ProtocolCode::kAtaOverAta);
    std::vector<uint8_t> sector(512);
    {
        LogCapture log;
        AtaCommand absent = identifyCommand();
        EXPECT_FALSE(route->sendCommand(9u, sector.data(), 512, &absent));
        EXPECT_EQ(lastError(), static_cast<ErrorCode>(ERROR_FILE_NOT_FOUND));
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
        EXPECT_EQ(log.text(), "") << "an open failure logs nothing";
    }
    LogCapture log;
    AtaCommand smart = ataCommand(0xB0, ataflags::kDataIn, 0xC24F00, 0, 0, 0xD0);
    EXPECT_FALSE(route->sendCommand(0u, sector.data(), 512, &smart));
    EXPECT_EQ(lastError(), err::kAtaErrorStatus);
    EXPECT_EQ(GetLastError(), err::kAtaErrorStatus);
    EXPECT_EQ(+smart.command, 0x51);
    EXPECT_EQ(smart.feature & 0xFF, 0x04) << "ERROR register in the low byte";
    EXPECT_TRUE(log.contains("WARNING  [AtaProtocolOverAta] Err, Status=51h\n"));

    AtaCommand read = ataCommand(0x20, ataflags::kDataIn, 101, 1, 0xE0);
    EXPECT_FALSE(route->sendCommand(0u, sector.data(), 512, &read));
    EXPECT_EQ(read.feature & 0xFF, 0x40) << "UNC from the media error";
}

TEST(AtaProtocolOverAta, IoctlFailureKeepsTheWindowsError) {
    InstalledHost installed(zeltest::routeHost(R"("faults": [{"kind": "ioctl_error", "windowsError": 1117}])", 0));
    LogCapture log;
    std::vector<uint8_t> sector(512);
    AtaCommand identify = identifyCommand();
    EXPECT_FALSE(createProtocol(ProtocolCode::kAtaOverAta)->sendCommand(0u, sector.data(), 512, &identify));
    EXPECT_EQ(lastError(), 1117u);
    EXPECT_TRUE(log.contains("WARNING  [AtaProtocolOverAta] DeviceIoControl failed... LE=0x45D\n"));
}
