// What the ATA route puts in the pass-through block. The data, the registers
// read back and the send line of ordinary commands are checked through
// ZelCli.exe (tests/io/CmdEndToEndTest.cpp); here what a run cannot show.
#include <gtest/gtest.h>
#include <windows.h>

#include <tuple>
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
using zeltest::identifyCommand;

// The high bytes travel in the previous task file; a 28-bit command takes
// LBA bits 27..24 from the device byte but prints the whole field (the
// 48-bit send line is checked through ZelCli.exe).
TEST(AtaProtocolOverAta, BlockAndTaskFileOf28And48BitCommands) {
    InstalledHost installed(zeltest::routeHost());
    LogCapture log;
    auto route = createProtocol(ProtocolCode::kAtaOverAta);
    std::vector<uint8_t> data(1024);
    AtaCommand identify = identifyCommand();
    ASSERT_TRUE(route->sendCommand(0u, data.data(), 512, &identify));
    // Timeout 0 becomes 8 in the record and the block; flags: data in plus DRDY required.
    const vhost::DecodedRequest& block = installed.host().lastRequest();
    EXPECT_EQ(std::make_tuple(+identify.timeout, block.inSize, +block.ataFlags, block.timeout),
              std::make_tuple(8u, 48u, 0x03, 8u));

    AtaCommand wide = ataCommand(0x25, ataflags::kDataIn | ataflags::k48Bit | ataflags::kDma, 0x123456789ABCull,
                                 0x0102, 0x40, 0xAB12);
    EXPECT_FALSE(route->sendCommand(0u, data.data(), 1024, &wide)) << "beyond the end: ID not found";
    EXPECT_EQ(installed.host().lastRequest().ataFlags, 0x1B);
    const vhost::AtaTaskFile& seen = installed.host().disk(0)->ata()->lastCommand();
    EXPECT_EQ(std::make_tuple(seen.lba, +seen.feature, +seen.count, +seen.device),
              std::make_tuple(0x123456789ABCull, 0xAB12, 0x0102, 0x40));

    AtaCommand narrow = ataCommand(0x20, ataflags::kDataIn, 0x30ABCDEF1ull, 1, 0xE0);
    route->sendCommand(0u, data.data(), 512, &narrow);
    EXPECT_EQ(std::make_pair(+seen.device, seen.lba), std::make_pair(0xEA, uint64_t{0x0ABCDEF1}));
    EXPECT_TRUE(log.contains("FEATURE=0x00, COUNT=0x01, LBA=0x30ABCDEF1, DEVICE=0xE0, COMMAND=0x20, dataSize=512"));
}

TEST(AtaProtocolOverAta, FailuresAndTheirCodes) {
    InstalledHost installed(zeltest::routeHost(
        R"("faults": [{"kind": "ioctl_error", "windowsError": 1117, "times": 1},
                      {"kind": "ata_error", "opcode": "0xB0", "status": "0x51", "error": "0x04"},
                      {"kind": "media_error", "lba": 100, "count": 4}])",
        0));
    auto route = createProtocol(ProtocolCode::kAtaOverAta);
    std::vector<uint8_t> sector(512);
    {
        LogCapture log;
        AtaCommand absent = identifyCommand();
        EXPECT_FALSE(route->sendCommand(9u, sector.data(), 512, &absent));
        EXPECT_EQ(std::make_pair(lastError(), GetLastError()), std::make_pair(ErrorCode{ERROR_FILE_NOT_FOUND}, DWORD{ERROR_FILE_NOT_FOUND}));
        EXPECT_EQ(log.text(), "") << "an open failure logs nothing";
    }
    LogCapture log;
    AtaCommand identify = identifyCommand();
    EXPECT_FALSE(route->sendCommand(0u, sector.data(), 512, &identify));
    EXPECT_EQ(lastError(), 1117u) << "the Windows error of the IOCTL";
    EXPECT_TRUE(log.contains("WARNING  [AtaProtocolOverAta] DeviceIoControl failed... LE=0x45D\n"));

    AtaCommand smart = ataCommand(0xB0, ataflags::kDataIn, 0xC24F00, 0, 0, 0xD0);
    EXPECT_FALSE(route->sendCommand(0u, sector.data(), 512, &smart));
    // Both error slots; the STATUS register in the command, ERROR in the feature's low byte.
    EXPECT_EQ(std::make_tuple(lastError(), GetLastError(), +smart.command, smart.feature & 0xFF),
              std::make_tuple(err::kAtaErrorStatus, DWORD{err::kAtaErrorStatus}, 0x51, 0x04));
    EXPECT_TRUE(log.contains("WARNING  [AtaProtocolOverAta] Err, Status=51h\n"));

    AtaCommand read = ataCommand(0x20, ataflags::kDataIn, 101, 1, 0xE0);
    EXPECT_FALSE(route->sendCommand(0u, sector.data(), 512, &read));
    EXPECT_EQ(read.feature & 0xFF, 0x40) << "UNC from the media error";
}
