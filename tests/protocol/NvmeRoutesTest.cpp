// What each NVMe route puts in its block. Identify, log-page and vendor data
// on every route are checked through ZelCli.exe (tests/io/CmdEndToEndTest.cpp);
// here the block fields, the refusals and the failure lines.
#include <gtest/gtest.h>
#include <windows.h>

#include <functional>
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
NvmeCommand healthLog(uint32_t disk) {
    return adminCommand(0x02, 0xFFFFFFFF, 0x007F0002, nvmedir::kFromDevice, disk);
}

}  // namespace

TEST(NvmeProtocolByStornvme, QueriesAndProtocolCommands) {
    InstalledHost installed(zeltest::routeHost());
    LogCapture log;
    auto route = createProtocol(ProtocolCode::kNvmeByStornvme);
    std::vector<uint8_t> data(4096);
    auto request = [&] { return installed.host().lastRequest(); };

    NvmeCommand controller = identifyController(1);
    ASSERT_TRUE(route->sendCommand(1u, data.data(), 4096, &controller));
    EXPECT_EQ(+controller.timeout, 30u);
    EXPECT_EQ(request().inSize, 4144u);
    EXPECT_TRUE(log.contains("DEBUG    [NvmeProtocolByStornvme] Send command: OPC=6, NS=0, CDW10=1, CDW11=0, "
                             "CDW12=0, datasize=4096\n"));

    NvmeCommand ns = adminCommand(0x06, 1, 0, nvmedir::kFromDevice, 1);
    ASSERT_TRUE(route->sendCommand(1u, data.data(), 4096, &ns));
    EXPECT_EQ(request().requestValue, 0u) << "CNS 0 with the namespace id as sub-value";
    EXPECT_EQ(request().requestSubValue, 1u);

    NvmeCommand telemetry = adminCommand(0x02, 0xFFFFFFFF, 0x007F0E07, nvmedir::kFromDevice, 1);
    ASSERT_TRUE(route->sendCommand(1u, data.data(), 512, &telemetry));
    EXPECT_EQ(telemetry.dword(10), 0x007F0107u) << "bit 8 set, bits 11..9 cleared";
    EXPECT_EQ(data[0], 0x07);
    EXPECT_EQ(request().requestValue, 7u) << "the query carries only the identifier";

    NvmeCommand queues = adminCommand(0x0A, 0, 0x07, nvmedir::kFromDevice, 1);
    ASSERT_TRUE(route->sendCommand(1u, data.data(), 4096, &queues));
    EXPECT_EQ(queues.completionDword(0), 0x003F003Fu);
    EXPECT_EQ(request().propertyId, 50u);
    EXPECT_EQ(request().dataType, 3u);

    NvmeCommand vendor = adminCommand(0xC2, 0, 0x11, nvmedir::kFromDevice, 1);
    ASSERT_TRUE(route->sendCommand(1u, data.data(), 16, &vendor));
    EXPECT_EQ(request().inSize, 16u + 208u);
    EXPECT_EQ(request().commandSpecific, 1u);
    EXPECT_EQ(request().timeout, 30u);
    EXPECT_EQ(installed.host().disk(1)->nvme()->lastCommand()[40], 0x11) << "CDW10 at byte 40 of the command";

    NvmeCommand unknown = adminCommand(0xC5, 0, 0, nvmedir::kFromDevice, 1);
    unknown.setStatus(0x0001);
    EXPECT_FALSE(route->sendCommand(1u, data.data(), 16, &unknown));
    EXPECT_EQ(lastError(), err::kNvmeFailed);
    EXPECT_EQ(unknown.status(), 0x0003) << "code 1 (invalid opcode) in bits 8..1, phase kept";
    EXPECT_TRUE(log.contains("WARNING  [NvmeProtocolByStornvme] command failed. ReturnStatus=2, LE=0x"));

    NvmeCommand dataOut = adminCommand(0xC2, 0, 0, nvmedir::kToDevice, 1);
    EXPECT_FALSE(route->sendCommand(1u, data.data(), 16, &dataOut)) << "outgoing data overwrites the head";
    EXPECT_EQ(lastError(), static_cast<ErrorCode>(ERROR_INVALID_PARAMETER));
    EXPECT_TRUE(log.contains("WARNING  [NvmeProtocolByStornvme] command failed. returnedLength=0, LE=0x57.\n"));
}

TEST(NvmeProtocolByStornvme, RefusalsAndBadAnswers) {
    InstalledHost installed(zeltest::routeHost(
        R"("faults": [{"kind": "bad_descriptor", "opcode": 6, "version": 40},
                      {"kind": "nvme_status", "opcode": 2, "nvmeStatus": "0x0109"}])",
        1));
    auto route = createProtocol(ProtocolCode::kNvmeByStornvme);
    std::vector<uint8_t> data(4096);
    {
        LogCapture log;
        NvmeCommand format = adminCommand(0x09, 0, 0, nvmedir::kNone, 1);
        const unsigned before = installed.host().disk(1)->nvme()->commandCount();
        const uint32_t ioctlBefore = installed.host().lastRequest().ioctl;
        EXPECT_FALSE(route->sendCommand(1u, data.data(), 0, &format));
        EXPECT_EQ(lastError(), err::kNvmeNotSupported);
        EXPECT_EQ(GetLastError(), err::kNvmeNotSupported);
        EXPECT_EQ(installed.host().disk(1)->nvme()->commandCount(), before) << "nothing sent";
        EXPECT_EQ(installed.host().lastRequest().ioctl, ioctlBefore);
        EXPECT_FALSE(log.contains("WARNING")) << "no failure line";
    }
    LogCapture log;
    NvmeCommand controller = identifyController(1);
    EXPECT_FALSE(route->sendCommand(1u, data.data(), 4096, &controller));
    EXPECT_EQ(lastError(), err::kNvmeFailed);
    EXPECT_TRUE(log.contains("WARNING  [NvmeProtocolByStornvme] data descriptor header not valid.\n"));

    NvmeCommand health = healthLog(1);
    EXPECT_FALSE(route->sendCommand(1u, data.data(), 512, &health));
    EXPECT_EQ(lastError(), static_cast<ErrorCode>(ERROR_IO_DEVICE));
    EXPECT_TRUE(log.contains("WARNING  [NvmeProtocolByStornvme] command failed. returnedLength=0, LE=0x45D.\n"));
}

TEST(NvmeProtocolByScsiMiniport, AdminAndIoCommandsThroughTheNvmeMiniBlock) {
    InstalledHost installed(zeltest::routeHost());
    LogCapture log;
    auto route = createProtocol(ProtocolCode::kNvmeByScsiMiniport);
    std::vector<uint8_t> data(4096);
    const size_t handlesBefore = installed.host().openHandleCount();
    auto request = [&] { return installed.host().lastRequest(); };

    NvmeCommand controller = identifyController(3);
    ASSERT_TRUE(route->sendCommand(3u, data.data(), 4096, &controller));
    EXPECT_EQ(request().inSize, 4096u + 152u);
    EXPECT_EQ(request().dataIn, 2) << "direction from the record";
    EXPECT_EQ(controller.status() & 1, 1) << "phase bit of the completion copied back";
    EXPECT_TRUE(log.contains("DEBUG    [NvmeProtocolByScsiMiniport] Send command: OPC=6, NS=0, CDW10=1, CDW11=0, "
                             "CDW12=0, datasize=4096\n"));
    EXPECT_EQ(installed.host().openHandleCount(), handlesBefore + 1) << "the port handle stays open";

    std::vector<uint8_t> page(512);
    NvmeCommand health = healthLog(3);
    ASSERT_TRUE(route->sendCommand(static_cast<HANDLE>(nullptr), page.data(), 512, &health))
        << "the handle form ignores the handle and uses the record's disk number";
    EXPECT_EQ(page[1] | page[2] << 8, 308);

    NvmeCommand read = adminCommand(0x02, 1, 0, nvmedir::kFromDevice, 3);
    read.admin = 0;
    ASSERT_TRUE(route->sendCommand(3u, page.data(), 512, &read));
    EXPECT_EQ(request().queueId, 1u) << "an I/O command goes to queue 1";
    EXPECT_FALSE(installed.host().disk(3)->nvme()->lastWasAdmin());
}

TEST(NvmeProtocolByScsiMiniport, PortsThatCannotBeFoundOrFailAreSilent) {
    InstalledHost installed(zeltest::routeHost(R"("faults": [{"kind": "ioctl_error", "ioctl": "0x4D008", "windowsError": 1117}])", 2));
    LogCapture log;
    std::vector<uint8_t> data(4096);
    NvmeCommand controller = identifyController(9);
    SetLastError(0);
    EXPECT_FALSE(createProtocol(ProtocolCode::kNvmeByScsiMiniport)->sendCommand(9u, data.data(), 4096, &controller));
    EXPECT_NE(lastError(), 0u) << "the open's Windows error is kept";
    EXPECT_FALSE(createProtocol(ProtocolCode::kNvmeByIrst)->sendCommand(9u, data.data(), 4096, &controller));
    EXPECT_FALSE(log.contains("WARNING"));
    NvmeCommand wrongDriver = identifyController(1);
    EXPECT_FALSE(createProtocol(ProtocolCode::kNvmeByScsiMiniport)->sendCommand(1u, data.data(), 4096, &wrongDriver))
        << "the inbox driver's port does not take NvmeMini blocks";
    EXPECT_EQ(lastError(), static_cast<ErrorCode>(ERROR_INVALID_FUNCTION));
    EXPECT_TRUE(log.contains("WARNING  [NvmeProtocolByScsiMiniport] command failed. returnedLength=0, LE=0x1.\n"));

    LogCapture irstLog;
    NvmeCommand failing = identifyController(2);
    EXPECT_FALSE(createProtocol(ProtocolCode::kNvmeByIrst)->sendCommand(2u, data.data(), 4096, &failing));
    EXPECT_EQ(lastError(), 1117u);
    EXPECT_FALSE(irstLog.contains("WARNING")) << "a failed IOCTL on the RST route logs nothing";
}

TEST(NvmeProtocolByIrst, CommandsThroughTheIntelNvmBlock) {
    InstalledHost installed(zeltest::routeHost());
    LogCapture log;
    auto route = createProtocol(ProtocolCode::kNvmeByIrst);
    std::vector<uint8_t> data(4096);
    NvmeCommand controller = identifyController(2);
    ASSERT_TRUE(route->sendCommand(2u, data.data(), 4096, &controller));
    const vhost::DecodedRequest request = installed.host().lastRequest();
    EXPECT_EQ(request.inSize, 4260u);
    EXPECT_EQ(request.targetId, 0);
    EXPECT_TRUE(log.contains("DEBUG    [NvmeProtocolByIrst] Send command: OPC=6, NS=0, CDW10=1"));

    NvmeCommand telemetry = adminCommand(0x02, 0xFFFFFFFF, 0x007F0107, nvmedir::kFromDevice, 2);
    ASSERT_TRUE(route->sendCommand(2u, data.data(), 512, &telemetry));
    EXPECT_EQ(data[383], 1) << "the create bit reached the controller: generation 1";

    NvmeCommand vendor = adminCommand(0xC7, 0, 0, nvmedir::kFromDevice, 2);
    EXPECT_TRUE(route->sendCommand(2u, data.data(), 16, &vendor)) << "the completion status is not examined";
    EXPECT_EQ(vendor.status() >> 1 & 0xFF, 0x01) << "invalid opcode in the completion";
}

// Sizes a route's block cannot carry: more than the 4096-byte data area of
// the query and RST blocks, or so large that the growing blocks' length
// would wrap. Nothing may be opened or sent.
TEST(NvmeRoutes, OversizedDataIsRefusedBeforeAnythingIsSent) {
    InstalledHost installed(zeltest::routeHost());
    struct Case {
        ProtocolCode route;
        const char* name;
        uint32_t disk;
        uint8_t opcode, direction;
        uint32_t dataSize, limit;
    };
    const Case cases[] = {
        {ProtocolCode::kNvmeByStornvme, "NvmeProtocolByStornvme", 1, 0x06, nvmedir::kFromDevice, 8192, 4096},
        {ProtocolCode::kNvmeByStornvme, "NvmeProtocolByStornvme", 1, 0x02, nvmedir::kToDevice, 4097, 4096},
        {ProtocolCode::kNvmeByStornvme, "NvmeProtocolByStornvme", 1, 0xC2, nvmedir::kNone, 0xFFFFFFFF, 4294967087},
        {ProtocolCode::kNvmeByIrst, "NvmeProtocolByIrst", 2, 0x06, nvmedir::kFromDevice, 8192, 4096},
        {ProtocolCode::kNvmeByIrst, "NvmeProtocolByIrst", 2, 0x02, nvmedir::kToDevice, 4097, 4096},
        {ProtocolCode::kNvmeByScsiMiniport, "NvmeProtocolByScsiMiniport", 3, 0x06, nvmedir::kNone, 0xFFFFFFFF,
         4294967143},
    };
    std::vector<uint8_t> data(8192, 0x5A);
    for (const Case& c : cases) {
        const std::string line = "WARNING  [" + std::string(c.name) + "] datasize=" + std::to_string(c.dataSize) +
                                 " is more than " + std::to_string(c.limit) + " bytes, not sent.\n";
        SCOPED_TRACE(line);
        LogCapture log;
        // Opening a drive leaves the host's request record without an IOCTL.
        const SharedHandle drive = openPhysicalDrive(c.disk, FILE_ATTRIBUTE_NORMAL);
        const size_t handles = installed.host().openHandleCount();
        const unsigned commands = installed.host().disk(c.disk)->nvme()->commandCount();
        NvmeCommand command = adminCommand(c.opcode, 0, 0, c.direction, c.disk);
        EXPECT_FALSE(createProtocol(c.route)->sendCommand(c.disk, data.data(), c.dataSize, &command));
        EXPECT_EQ(lastError(), err::kNvmeNotSupported);
        EXPECT_EQ(GetLastError(), err::kNvmeNotSupported);
        EXPECT_EQ(installed.host().lastRequest().ioctl, 0u) << "no IOCTL";
        EXPECT_EQ(installed.host().openHandleCount(), handles) << "no port opened";
        EXPECT_EQ(installed.host().disk(c.disk)->nvme()->commandCount(), commands);
        EXPECT_TRUE(log.contains(line));
    }
}

// Codes the registry has no route for; the others are reached through
// each disk's route in tests/io/CmdEndToEndTest.cpp.
TEST(ProtocolRegistry, CodesWithoutARouteThrow) {
    EXPECT_THROW(createProtocol(static_cast<ProtocolCode>(3)), std::bad_function_call);
    EXPECT_THROW(createProtocol(static_cast<ProtocolCode>(0)), std::bad_function_call);
}
