// What each NVMe route puts in its block. Identify, log-page and vendor data
// on every route are checked through ZelCli.exe (tests/io/CmdEndToEndTest.cpp);
// here the block fields, the refusals and the failure lines.
#include <gtest/gtest.h>
#include <windows.h>

#include <functional>
#include <tuple>
#include <vector>

#include "core/DriveOpener.h"
#include "core/ErrorCodes.h"
#include "protocol/CommandRecords.h"
#include "protocol/ProtocolRegistry.h"
#include "tests/support/InstalledHost.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TestHosts.h"
#include "vhost/NvmeController.h"

using namespace zel;
using zeltest::InstalledHost;
using zeltest::LogCapture;

namespace {

NvmeCommand adminCommand(uint8_t opcode, uint32_t nsid, uint32_t cdw10, uint8_t direction, uint32_t disk) {
    NvmeCommand command;
    command.command[0] = opcode;
    command.setDword(1, nsid);
    command.setDword(10, cdw10);
    command.direction = direction;
    command.diskNumber = disk;
    return command;
}

NvmeCommand identifyController(uint32_t disk) { return adminCommand(0x06, 0, 1, nvmedir::kFromDevice, disk); }
NvmeCommand healthLog(uint32_t disk) { return adminCommand(0x02, 0xFFFFFFFF, 0x007F0002, nvmedir::kFromDevice, disk); }

const char* routeName(ProtocolCode route) {
    return route == ProtocolCode::kNvmeByStornvme       ? "NvmeProtocolByStornvme"
           : route == ProtocolCode::kNvmeByScsiMiniport ? "NvmeProtocolByScsiMiniport" : "NvmeProtocolByIrst";
}

}  // namespace

TEST(NvmeRoutes, EachRouteCarriesTheRecordInItsBlock) {
    InstalledHost installed(zeltest::routeHost());
    vhost::VirtualHost& host = installed.host();
    std::vector<uint8_t> data(4096);
    const struct { ProtocolCode route; uint32_t disk, inSize; } routes[] = {{ProtocolCode::kNvmeByStornvme, 1, 4144},
                  {ProtocolCode::kNvmeByScsiMiniport, 3, 4096 + 152},
                  {ProtocolCode::kNvmeByIrst, 2, 4260}};
    for (const auto& r : routes) {
        LogCapture log;
        NvmeCommand controller = identifyController(r.disk);
        ASSERT_TRUE(createProtocol(r.route)->sendCommand(r.disk, data.data(), 4096, &controller)) << r.disk;
        EXPECT_EQ(std::make_pair(+controller.timeout, host.lastRequest().inSize), std::make_pair(30u, r.inSize)) << r.disk;
        EXPECT_TRUE(log.contains("DEBUG    [" + std::string(routeName(r.route)) +
                                 "] Send command: OPC=6, NS=0, CDW10=1, CDW11=0, CDW12=0, datasize=4096\n"));
    }
    EXPECT_EQ(host.lastRequest().targetId, 0) << "RST: target of the drive's address";

    auto inbox = createProtocol(ProtocolCode::kNvmeByStornvme);
    NvmeCommand ns = adminCommand(0x06, 1, 0, nvmedir::kFromDevice, 1);
    ASSERT_TRUE(inbox->sendCommand(1u, data.data(), 4096, &ns));
    EXPECT_EQ(std::make_pair(host.lastRequest().requestValue, host.lastRequest().requestSubValue), std::make_pair(0u, 1u))
        << "CNS 0 with the namespace id as sub-value";
    NvmeCommand telemetry = adminCommand(0x02, 0xFFFFFFFF, 0x007F0E07, nvmedir::kFromDevice, 1);
    ASSERT_TRUE(inbox->sendCommand(1u, data.data(), 512, &telemetry));
    // Bit 8 set, bits 11..9 cleared in the record; the query carries only the identifier.
    EXPECT_EQ(std::make_tuple(telemetry.dword(10), +data[0], host.lastRequest().requestValue),
              std::make_tuple(0x007F0107u, 0x07, 7u));
    NvmeCommand queues = adminCommand(0x0A, 0, 0x07, nvmedir::kFromDevice, 1);
    ASSERT_TRUE(inbox->sendCommand(1u, data.data(), 4096, &queues));
    EXPECT_EQ(std::make_tuple(queues.completionDword(0), host.lastRequest().propertyId, host.lastRequest().dataType),
              std::make_tuple(0x003F003Fu, 50u, 3u));
    NvmeCommand vendor = adminCommand(0xC2, 0, 0x11, nvmedir::kFromDevice, 1);
    ASSERT_TRUE(inbox->sendCommand(1u, data.data(), 16, &vendor));
    EXPECT_EQ(std::make_tuple(host.lastRequest().inSize, host.lastRequest().commandSpecific, host.lastRequest().timeout),
              std::make_tuple(16u + 208u, 1u, 30u));
    EXPECT_EQ(host.disk(1)->nvme()->lastCommand()[40], 0x11) << "CDW10 at byte 40 of the command";
    LogCapture log;
    NvmeCommand unknown = adminCommand(0xC5, 0, 0, nvmedir::kFromDevice, 1);
    unknown.setStatus(0x0001);
    EXPECT_FALSE(inbox->sendCommand(1u, data.data(), 16, &unknown));
    EXPECT_EQ(std::make_pair(lastError(), +unknown.status()), std::make_pair(err::kNvmeFailed, 0x0003))
        << "code 1 (invalid opcode) in bits 8..1, phase kept";
    EXPECT_TRUE(log.contains("WARNING  [NvmeProtocolByStornvme] command failed. ReturnStatus=2, LE=0x"));

    auto miniport = createProtocol(ProtocolCode::kNvmeByScsiMiniport);
    const size_t handlesBefore = host.openHandleCount();
    NvmeCommand health = healthLog(3);
    ASSERT_TRUE(miniport->sendCommand(static_cast<HANDLE>(nullptr), data.data(), 512, &health))
        << "the handle form ignores the handle and uses the record's disk number";
    // Direction from the record, the completion's phase bit copied back, the port handle kept open.
    EXPECT_EQ(std::make_tuple(+host.lastRequest().dataIn, health.status() & 1, host.openHandleCount()),
              std::make_tuple(2, 1, handlesBefore + 1));
    NvmeCommand read = adminCommand(0x02, 1, 0, nvmedir::kFromDevice, 3);
    read.admin = 0;
    ASSERT_TRUE(miniport->sendCommand(3u, data.data(), 512, &read));
    EXPECT_EQ(std::make_pair(host.lastRequest().queueId, host.disk(3)->nvme()->lastWasAdmin()), std::make_pair(1u, false))
        << "an I/O command goes to queue 1";

    auto rst = createProtocol(ProtocolCode::kNvmeByIrst);
    NvmeCommand created = adminCommand(0x02, 0xFFFFFFFF, 0x007F0107, nvmedir::kFromDevice, 2);
    ASSERT_TRUE(rst->sendCommand(2u, data.data(), 512, &created));
    EXPECT_EQ(data[383], 1) << "the create bit reached the controller: generation 1";
    NvmeCommand refused = adminCommand(0xC7, 0, 0, nvmedir::kFromDevice, 2);
    EXPECT_TRUE(rst->sendCommand(2u, data.data(), 16, &refused)) << "the completion status is not examined";
    EXPECT_EQ(refused.status() >> 1 & 0xFF, 0x01) << "invalid opcode in the completion";
}

// A failed IOCTL or a bad answer: the code left behind and the one line
// (none from a port that cannot be opened, none on the RST route).
TEST(NvmeRoutes, FailuresLeaveTheirCodeAndLine) {
    constexpr ErrorCode kAnyCode = ~0u;
    constexpr ProtocolCode kInbox = ProtocolCode::kNvmeByStornvme, kMiniport = ProtocolCode::kNvmeByScsiMiniport;
    const struct { const char* faults; int faultDisk; ProtocolCode route; NvmeCommand command; uint32_t dataSize;
                   ErrorCode code; const char* line; } cases[] = {
        {"", -1, kInbox, adminCommand(0xC2, 0, 0, nvmedir::kToDevice, 1), 16, ERROR_INVALID_PARAMETER,
         "command failed. returnedLength=0, LE=0x57."},
        {R"("kind": "bad_descriptor", "opcode": 6, "version": 40)", 1, kInbox, identifyController(1), 4096,
         err::kNvmeFailed, "data descriptor header not valid."},
        {R"("kind": "nvme_status", "opcode": 2, "nvmeStatus": "0x0109")", 1, kInbox, healthLog(1), 512, ERROR_IO_DEVICE,
         "command failed. returnedLength=0, LE=0x45D."},
        // The inbox driver's port does not take NvmeMini blocks.
        {"", -1, kMiniport, identifyController(1), 4096, ERROR_INVALID_FUNCTION,
         "command failed. returnedLength=0, LE=0x1."},
        {"", -1, kMiniport, identifyController(9), 4096, kAnyCode, ""},
        {"", -1, ProtocolCode::kNvmeByIrst, identifyController(9), 4096, kAnyCode, ""},
        {R"("kind": "ioctl_error", "ioctl": "0x4D008", "windowsError": 1117)", 2, ProtocolCode::kNvmeByIrst,
         identifyController(2), 4096, 1117, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(routeName(c.route)) + " disk " + std::to_string(c.command.diskNumber));
        const std::string faults = *c.faults ? R"("faults": [{)" + std::string(c.faults) + "}]" : "";
        InstalledHost installed(zeltest::routeHost(faults, c.faultDisk));
        LogCapture log;
        std::vector<uint8_t> data(4096);
        NvmeCommand command = c.command;
        SetLastError(0);
        EXPECT_FALSE(createProtocol(c.route)->sendCommand(command.diskNumber, data.data(), c.dataSize, &command));
        // kAnyCode: the open's Windows error is kept, whatever it is.
        EXPECT_EQ(c.code == kAnyCode ? lastError() != 0 : lastError() == c.code, true) << lastError();
        const std::string line = "WARNING  [" + std::string(routeName(c.route)) + "] " + c.line + "\n";
        EXPECT_EQ(log.contains(*c.line ? line : "WARNING"), *c.line != 0) << log.text();
    }
}

// What no route carries: an opcode the inbox driver has no query for, and
// sizes beyond the 4096-byte data area of the query and RST blocks or so
// large that the growing blocks' length would wrap. Nothing may be opened
// or sent; only the size refusals have a line.
TEST(NvmeRoutes, RefusedBeforeAnythingIsSent) {
    InstalledHost installed(zeltest::routeHost());
    const struct { ProtocolCode route; uint32_t disk; uint8_t opcode, direction; uint32_t dataSize, limit; } cases[] = {
        {ProtocolCode::kNvmeByStornvme, 1, 0x09, nvmedir::kNone, 0, 0},
        {ProtocolCode::kNvmeByStornvme, 1, 0x06, nvmedir::kFromDevice, 8192, 4096},
        {ProtocolCode::kNvmeByStornvme, 1, 0x02, nvmedir::kToDevice, 4097, 4096},
        {ProtocolCode::kNvmeByStornvme, 1, 0xC2, nvmedir::kNone, 0xFFFFFFFF, 4294967087},
        {ProtocolCode::kNvmeByIrst, 2, 0x06, nvmedir::kFromDevice, 8192, 4096},
        {ProtocolCode::kNvmeByIrst, 2, 0x02, nvmedir::kToDevice, 4097, 4096},
        {ProtocolCode::kNvmeByScsiMiniport, 3, 0x06, nvmedir::kNone, 0xFFFFFFFF, 4294967143},
    };
    std::vector<uint8_t> data(8192, 0x5A);
    for (const auto& c : cases) {
        const std::string line = c.limit == 0 ? "" : "WARNING  [" + std::string(routeName(c.route)) +
                                 "] datasize=" + std::to_string(c.dataSize) + " is more than " +
                                 std::to_string(c.limit) + " bytes, not sent.\n";
        SCOPED_TRACE(std::to_string(c.opcode) + " " + line);
        LogCapture log;
        // Opening a drive leaves the host's request record without an IOCTL.
        const SharedHandle drive = openPhysicalDrive(c.disk, FILE_ATTRIBUTE_NORMAL);
        const size_t handles = installed.host().openHandleCount();
        const unsigned commands = installed.host().disk(c.disk)->nvme()->commandCount();
        NvmeCommand command = adminCommand(c.opcode, 0, 0, c.direction, c.disk);
        EXPECT_FALSE(createProtocol(c.route)->sendCommand(c.disk, data.data(), c.dataSize, &command));
        // Both error slots hold the code; no IOCTL, no port opened, no command.
        EXPECT_EQ(std::make_tuple(lastError(), GetLastError(), installed.host().lastRequest().ioctl,
                                  installed.host().openHandleCount(), installed.host().disk(c.disk)->nvme()->commandCount()),
                  std::make_tuple(err::kNvmeNotSupported, DWORD(err::kNvmeNotSupported), 0u, handles, commands));
        EXPECT_EQ(log.contains(line.empty() ? "WARNING" : line), !line.empty()) << log.text();
    }
}

// Codes the registry has no route for; the others are reached through
// each disk's route in tests/io/CmdEndToEndTest.cpp.
TEST(ProtocolRegistry, CodesWithoutARouteThrow) {
    for (int code : {0, 3}) EXPECT_THROW(createProtocol(static_cast<ProtocolCode>(code)), std::bad_function_call) << code;
}
