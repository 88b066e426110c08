#include <gtest/gtest.h>
#include <windows.h>

#include <tuple>
#include <vector>

#include "core/ErrorCodes.h"
#include "protocol/CommandRecords.h"
#include "protocol/ProtocolRegistry.h"
#include "protocol/ScsiProtocol.h"
#include "tests/support/Commands.h"
#include "tests/support/InstalledHost.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TestHosts.h"
#include "vhost/AtaDevice.h"

using namespace zel;
using zeltest::InstalledHost;
using zeltest::LogCapture;
using zeltest::ataCommand;

namespace {

ScsiCommand cdbOf(std::initializer_list<uint8_t> bytes, uint8_t direction) {
    ScsiCommand command;
    command.cdbLength = static_cast<uint8_t>(bytes.size());
    std::copy(bytes.begin(), bytes.end(), command.cdb);
    command.direction = direction;
    return command;
}

}  // namespace

// Inquiry data and its send line are checked through ZelCli.exe
// (tests/io/CmdEndToEndTest.cpp), the line's whole format on the console
// below; here the block and data going out.
TEST(ScsiRoutes, BlockFieldsDataBothWaysCheckConditionAndSatWrapping) {
    InstalledHost installed(zeltest::routeHost());
    LogCapture log;
    auto route = createProtocol(ProtocolCode::kScsi);
    std::vector<uint8_t> data(512);
    ScsiCommand inquiry = cdbOf({0x12, 0, 0, 0, 96, 0}, scsidir::kIn);
    ASSERT_TRUE(route->sendCommand(5u, data.data(), 96, &inquiry));
    const vhost::DecodedRequest request = installed.host().lastRequest();
    // Record timeout and status; block size, TargetId 1, direction and timeout as sent.
    EXPECT_EQ(std::make_tuple(+inquiry.timeout, +inquiry.scsiStatus, request.inSize, +request.targetId, +request.dataIn,
                              request.timeout),
              std::make_tuple(30u, 0, 92u, 1, 1, 30u));

    std::vector<uint8_t> out(1024), in(1024);
    for (size_t i = 0; i < out.size(); ++i) out[i] = static_cast<uint8_t>(i * 13 + 1);
    ScsiCommand write10 = cdbOf({0x2A, 0, 0, 0, 0x01, 0x00, 0, 0, 2, 0}, scsidir::kOut);
    ASSERT_TRUE(route->sendCommand(5u, out.data(), 1024, &write10));
    ScsiCommand read16 = cdbOf({0x88, 0, 0, 0, 0, 0, 0, 0, 0x01, 0x00, 0, 0, 0, 2, 0, 0}, scsidir::kIn);
    ASSERT_TRUE(route->sendCommand(5u, in.data(), 1024, &read16));
    EXPECT_EQ(in, out);
    ScsiCommand sync = cdbOf({0x35, 0, 0, 0, 0, 0, 0, 0, 0, 0}, scsidir::kUnspecified);
    EXPECT_TRUE(route->sendCommand(5u, nullptr, 0, &sync));

    // A check condition is status 2 and a DEBUG line, not a Windows error.
    ScsiCommand unsupported = cdbOf({0xA1, 0x08, 0x0E, 0, 1, 0, 0, 0, 0xA0, 0xEC, 0, 0}, scsidir::kIn);
    SetLastError(1234);
    EXPECT_FALSE(route->sendCommand(5u, data.data(), 512, &unsupported))
        << "a stick without a SAT bridge rejects ATA PASS-THROUGH";
    EXPECT_EQ(std::make_pair(+unsupported.scsiStatus, lastError()), std::make_pair(2, 0u)) << "the IOCTL itself succeeded";
    EXPECT_TRUE(log.contains("DEBUG    command fail... nRead("));
    EXPECT_TRUE(log.contains("), Sptd.Length(56), Sptd.ScsiStatus=2\n"));
    EXPECT_FALSE(log.contains("WARNING"));

    // SAT-wrapped ATA commands (their CDB bytes: BuilderTest.cpp) reach the
    // bridged drive, and its data comes and goes.
    auto usb = createProtocol(ProtocolCode::kAtaOverUsb);
    std::vector<uint8_t> sector(512);
    AtaCommand identify = zeltest::identifyCommand();
    ASSERT_TRUE(usb->sendCommand(4u, sector.data(), 512, &identify));
    EXPECT_EQ(installed.host().lastRequest().dataIn, 1);
    EXPECT_EQ(zeltest::ataString(sector.data(), 27, 20), "SATA Enclosure");
    EXPECT_EQ(+identify.command, 0xEC) << "no registers come back on this route";

    std::vector<uint8_t> written(1024, 0x5C), back(1024);
    AtaCommand writeExt = ataCommand(0x35, ataflags::kDataOut | ataflags::k48Bit | ataflags::kDma, 0x10203, 2, 0x40);
    ASSERT_TRUE(usb->sendCommand(4u, written.data(), 1024, &writeExt));
    const vhost::AtaTaskFile& seen = installed.host().disk(4)->ata()->lastCommand();
    EXPECT_EQ(std::make_pair(seen.lba, +seen.count), std::make_pair(uint64_t{0x10203}, 2));
    AtaCommand readExt = ataCommand(0x25, ataflags::kDataIn | ataflags::k48Bit | ataflags::kDma, 0x10203, 2, 0x40);
    ASSERT_TRUE(usb->sendCommand(4u, back.data(), 1024, &readExt));
    EXPECT_EQ(back, written);

    AtaCommand flushExt = ataCommand(0xEA, ataflags::k48Bit, 0, 0, 0x40);
    ASSERT_TRUE(usb->sendCommand(4u, nullptr, 0, &flushExt));
    EXPECT_EQ(installed.host().lastRequest().dataIn, 0) << "no data direction for a non-data command";
}

TEST(ScsiProtocol, ShortCdbIsLoggedWithAllSixteenBytesOnTheConsole) {
    InstalledHost installed(zeltest::routeHost());
    zeltest::ConsoleCapture console;
    ScsiCommand testUnitReady = cdbOf({0, 0, 0, 0, 0, 0}, scsidir::kUnspecified);
    EXPECT_TRUE(ScsiProtocol().sendCommand(5u, nullptr, 0, &testUnitReady));
    EXPECT_EQ(console.text(), "[ScsiProtocol] Send CDB(6): 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00, "
                              "dataSize=0\n");
}

TEST(AtaProtocolOverUsb, StrictBridgeAndAtaErrorBehindIt) {
    InstalledHost installed(zeltest::routeHost(R"("satStrict": true, "faults": [{"kind": "ata_error", "opcode": "0xEC"}])", 4));
    auto route = createProtocol(ProtocolCode::kAtaOverUsb);
    AtaCommand flush = ataCommand(0xE7, 0, 0, 0);
    const unsigned before = installed.host().disk(4)->ata()->commandCount();
    EXPECT_TRUE(route->sendCommand(4u, nullptr, 0, &flush));
    EXPECT_EQ(installed.host().disk(4)->ata()->commandCount(), before) << "protocol 0 is a reset: no flush";

    std::vector<uint8_t> sector(512);
    AtaCommand identify = ataCommand(0xEC, ataflags::kDataIn, 0, 1, 0);
    EXPECT_FALSE(route->sendCommand(4u, sector.data(), 512, &identify)) << "the ATA error comes back as a check";
    EXPECT_EQ(+identify.command, 0xEC) << "the ATA status is not read back over USB";
}

// A check condition is covered above; a failed IOCTL leaves its Windows error.
TEST(ScsiProtocol, IoctlFailure) {
    InstalledHost installed(zeltest::routeHost(
        R"("faults": [{"kind": "ioctl_error", "ioctl": "0x4D014", "windowsError": 121, "times": 1}])", 5));
    auto route = createProtocol(ProtocolCode::kScsi);
    std::vector<uint8_t> data(512);
    ScsiCommand inquiry = cdbOf({0x12, 0, 0, 0, 36, 0}, scsidir::kIn);
    EXPECT_FALSE(route->sendCommand(5u, data.data(), 36, &inquiry));
    EXPECT_EQ(lastError(), 121u);
    EXPECT_TRUE(route->sendCommand(5u, data.data(), 36, &inquiry)) << "the IOCTL fault fired once";
}
