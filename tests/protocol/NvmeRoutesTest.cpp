#include <gtest/gtest.h>
#include <windows.h>

#include <cstring>
#include <vector>

#include "core/DriveOpener.h"
#include "core/ErrorCodes.h"
#include "protocol/AtaProtocolOverAta.h"
#include "protocol/CommandRecords.h"
#include "protocol/NvmeProtocols.h"
#include "protocol/ProtocolRegistry.h"
#include "protocol/ScsiProtocol.h"
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
NvmeCommand identifyNamespace(uint32_t disk) { return adminCommand(0x06, 1, 0, nvmedir::kFromDevice, disk); }
NvmeCommand healthLog(uint32_t disk) {
    return adminCommand(0x02, 0xFFFFFFFF, 0x007F0002, nvmedir::kFromDevice, disk);
}

uint16_t le16(const std::vector<uint8_t>& data, size_t at) { return static_cast<uint16_t>(data[at] | data[at + 1] << 8); }
uint64_t le64(const std::vector<uint8_t>& data, size_t at) {
    uint64_t value;
    std::memcpy(&value, &data[at], 8);
    return value;
}
std::string textAt(const std::vector<uint8_t>& data, size_t at, size_t width) {
    std::string text(reinterpret_cast<const char*>(&data[at]), width);
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

uint8_t controllerOpcode(InstalledHost& installed, int disk) {
    return installed.host().disk(disk)->nvme()->lastCommand()[0];
}

}  // namespace

TEST(NvmeProtocolByStornvme, IdentifyAndLogPagesThroughStorageQueries) {
    InstalledHost installed(zeltest::routeHost());
    LogCapture log;
    auto route = createProtocol(ProtocolCode::kNvmeByStornvme);
    std::vector<uint8_t> data(4096);

    NvmeCommand controller = identifyController(1);
    ASSERT_TRUE(route->sendCommand(1u, data.data(), 4096, &controller));
    EXPECT_EQ(le16(data, 0), 0x1AB2) << "PCI vendor id";
    EXPECT_EQ(textAt(data, 24, 40), "Test NVMe Inbox");
    EXPECT_EQ(textAt(data, 4, 20), "NVME0001");
    EXPECT_EQ(+controller.timeout, 30u);
    vhost::DecodedRequest request = installed.host().lastRequest();
    EXPECT_EQ(request.ioctl, 0x2D1400u);
    EXPECT_EQ(request.inSize, 4144u);
    EXPECT_EQ(request.propertyId, 49u);
    EXPECT_EQ(request.dataType, 1u);
    EXPECT_EQ(request.requestValue, 1u);
    EXPECT_EQ(request.requestSubValue, 0u);
    EXPECT_EQ(request.protocolDataLength, 4096u);
    EXPECT_TRUE(log.contains("DEBUG    [NvmeProtocolByStornvme] Send command: OPC=6, NS=0, CDW10=1, CDW11=0, "
                             "CDW12=0, datasize=4096\n"));

    NvmeCommand ns = identifyNamespace(1);
    ASSERT_TRUE(route->sendCommand(1u, data.data(), 4096, &ns));
    EXPECT_EQ(le64(data, 0), 131072u) << "namespace size in blocks";
    EXPECT_EQ(data[128 + 2], 9) << "LBA format 0: 512-byte blocks";
    EXPECT_EQ(installed.host().lastRequest().requestValue, 0u);
    EXPECT_EQ(installed.host().lastRequest().requestSubValue, 1u);

    std::vector<uint8_t> page(512);
    NvmeCommand health = healthLog(1);
    ASSERT_TRUE(route->sendCommand(1u, page.data(), 512, &health));
    EXPECT_EQ(le16(page, 1), 308) << "composite temperature in kelvin";
    EXPECT_EQ(page[3], 100) << "available spare";
    request = installed.host().lastRequest();
    EXPECT_EQ(request.dataType, 2u);
    EXPECT_EQ(request.requestValue, 2u);
    EXPECT_EQ(request.protocolDataLength, 512u);
    const uint8_t* sqe = installed.host().disk(1)->nvme()->lastCommand();
    EXPECT_EQ(sqe[0], 0x02);
    EXPECT_EQ(sqe[40], 0x02) << "log identifier in CDW10";
    EXPECT_EQ(sqe[42] | sqe[43] << 8, 127) << "NUMDL: 128 dwords";

    NvmeCommand telemetry = adminCommand(0x02, 0xFFFFFFFF, 0x007F0E07, nvmedir::kFromDevice, 1);
    ASSERT_TRUE(route->sendCommand(1u, page.data(), 512, &telemetry));
    EXPECT_EQ(telemetry.dword(10), 0x007F0107u) << "bit 8 set, bits 11..9 cleared";
    EXPECT_EQ(page[0], 0x07);
    EXPECT_EQ(installed.host().lastRequest().requestValue, 7u) << "the query carries only the identifier";
}

TEST(NvmeProtocolByStornvme, FeaturesAndVendorOpcodes) {
    InstalledHost installed(zeltest::routeHost());
    LogCapture log;
    auto route = createProtocol(ProtocolCode::kNvmeByStornvme);
    std::vector<uint8_t> data(4096);

    NvmeCommand queues = adminCommand(0x0A, 0, 0x07, nvmedir::kFromDevice, 1);
    ASSERT_TRUE(route->sendCommand(1u, data.data(), 4096, &queues));
    EXPECT_EQ(queues.completionDword(0), 0x003F003Fu);
    EXPECT_EQ(installed.host().lastRequest().propertyId, 50u);
    EXPECT_EQ(installed.host().lastRequest().dataType, 3u);

    std::vector<uint8_t> answer(16, 0xEE);
    NvmeCommand vendor = adminCommand(0xC2, 0, 0x11, nvmedir::kFromDevice, 1);
    ASSERT_TRUE(route->sendCommand(1u, answer.data(), 16, &vendor));
    EXPECT_EQ(answer, (std::vector<uint8_t>{0xDE, 0xAD, 0xBE, 0xEF, 1, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(vendor.completionDword(0), 0x12345678u);
    EXPECT_EQ(vendor.status() & 0x1FE, 0);
    vhost::DecodedRequest request = installed.host().lastRequest();
    EXPECT_EQ(request.ioctl, 0x2DD3C0u);
    EXPECT_EQ(request.inSize, 16u + 208u);
    EXPECT_EQ(request.commandSpecific, 1u);
    EXPECT_EQ(request.timeout, 30u);
    EXPECT_EQ(controllerOpcode(installed, 1), 0xC2);
    EXPECT_EQ(installed.host().disk(1)->nvme()->lastCommand()[40], 0x11) << "CDW10 at byte 40 of the command";

    NvmeCommand unknown = adminCommand(0xC5, 0, 0, nvmedir::kFromDevice, 1);
    unknown.setStatus(0x0001);
    EXPECT_FALSE(route->sendCommand(1u, answer.data(), 16, &unknown));
    EXPECT_EQ(lastError(), err::kNvmeFailed);
    EXPECT_EQ(unknown.status(), 0x0003) << "code 1 (invalid opcode) in bits 8..1, phase kept";
    EXPECT_TRUE(log.contains("WARNING  [NvmeProtocolByStornvme] command failed. ReturnStatus=2, LE=0x"));

    NvmeCommand dataOut = adminCommand(0xC2, 0, 0, nvmedir::kToDevice, 1);
    EXPECT_FALSE(route->sendCommand(1u, answer.data(), 16, &dataOut)) << "outgoing data overwrites the head";
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

    NvmeCommand controller = identifyController(3);
    ASSERT_TRUE(route->sendCommand(3u, data.data(), 4096, &controller));
    EXPECT_EQ(textAt(data, 24, 40), "Test NVMe Mini");
    vhost::DecodedRequest request = installed.host().lastRequest();
    EXPECT_EQ(request.ioctl, 0x4D008u);
    EXPECT_EQ(request.signature, "NvmeMini");
    EXPECT_EQ(request.controlCode, 0xE0002000u);
    EXPECT_EQ(request.queueId, 0u);
    EXPECT_EQ(request.inSize, 4096u + 152u);
    EXPECT_EQ(request.dataIn, 2) << "direction from the record";
    EXPECT_EQ(controller.status() >> 1 & 0xFF, 0) << "completion copied back";
    EXPECT_EQ(controller.status() & 1, 1) << "phase bit of the completion";
    EXPECT_TRUE(log.contains("DEBUG    [NvmeProtocolByScsiMiniport] Send command: OPC=6, NS=0, CDW10=1, CDW11=0, "
                             "CDW12=0, datasize=4096\n"));
    EXPECT_EQ(installed.host().openHandleCount(), handlesBefore + 1) << "the port handle stays open";

    std::vector<uint8_t> page(512);
    NvmeCommand health = healthLog(3);
    ASSERT_TRUE(route->sendCommand(static_cast<HANDLE>(nullptr), page.data(), 512, &health))
        << "the handle form ignores the handle and uses the record's disk number";
    EXPECT_EQ(le16(page, 1), 308);

    NvmeCommand read = adminCommand(0x02, 1, 0, nvmedir::kFromDevice, 3);
    read.admin = 0;
    read.setDword(12, 0);  // one block
    ASSERT_TRUE(route->sendCommand(3u, page.data(), 512, &read));
    EXPECT_EQ(installed.host().lastRequest().queueId, 1u) << "an I/O command goes to queue 1";
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
    EXPECT_FALSE(log.contains("WARNING"));
    EXPECT_FALSE(createProtocol(ProtocolCode::kNvmeByIrst)->sendCommand(9u, data.data(), 4096, &controller));
    EXPECT_EQ(log.text().find("WARNING"), std::string::npos);
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
    EXPECT_EQ(textAt(data, 24, 40), "Test NVMe RST");
    vhost::DecodedRequest request = installed.host().lastRequest();
    EXPECT_EQ(request.signature, "IntelNvm");
    EXPECT_EQ(request.controlCode, 0xF0002808u);
    EXPECT_EQ(request.inSize, 4260u);
    EXPECT_EQ(request.pathId, 1) << "path id from the address lookup";
    EXPECT_EQ(request.targetId, 0);
    EXPECT_EQ(request.transferLength, 4096u);
    EXPECT_TRUE(log.contains("DEBUG    [NvmeProtocolByIrst] Send command: OPC=6, NS=0, CDW10=1"));

    std::vector<uint8_t> page(512);
    NvmeCommand telemetry = adminCommand(0x02, 0xFFFFFFFF, 0x007F0107, nvmedir::kFromDevice, 2);
    ASSERT_TRUE(route->sendCommand(2u, page.data(), 512, &telemetry));
    EXPECT_EQ(page[0], 0x07);
    EXPECT_EQ(page[383], 1) << "the create bit reached the controller: generation 1";

    NvmeCommand vendor = adminCommand(0xC7, 0, 0, nvmedir::kFromDevice, 2);
    EXPECT_TRUE(route->sendCommand(2u, page.data(), 16, &vendor)) << "the completion status is not examined";
    EXPECT_EQ(vendor.status() >> 1 & 0xFF, 0x01) << "invalid opcode in the completion";
}

// Sizes a route's block cannot carry: more than the 4096-byte data area of
// the query and RST blocks, or so large that the growing blocks' length
// would wrap. Nothing may be opened or sent.
TEST(NvmeRoutes, OversizedDataIsRefusedBeforeAnythingIsSent) {
    InstalledHost installed(zeltest::routeHost());
    struct Case {
        ProtocolCode route;
        uint32_t disk;
        uint8_t opcode, direction;
        uint32_t dataSize;
        const char* line;
    };
    const Case cases[] = {
        {ProtocolCode::kNvmeByStornvme, 1, 0x06, nvmedir::kFromDevice, 8192,
         "WARNING  [NvmeProtocolByStornvme] datasize=8192 is more than 4096 bytes, not sent.\n"},
        {ProtocolCode::kNvmeByStornvme, 1, 0x02, nvmedir::kToDevice, 4097,
         "WARNING  [NvmeProtocolByStornvme] datasize=4097 is more than 4096 bytes, not sent.\n"},
        {ProtocolCode::kNvmeByStornvme, 1, 0xC2, nvmedir::kNone, 0xFFFFFFFF,
         "WARNING  [NvmeProtocolByStornvme] datasize=4294967295 is more than 4294967087 bytes, not sent.\n"},
        {ProtocolCode::kNvmeByIrst, 2, 0x06, nvmedir::kFromDevice, 8192,
         "WARNING  [NvmeProtocolByIrst] datasize=8192 is more than 4096 bytes, not sent.\n"},
        {ProtocolCode::kNvmeByIrst, 2, 0x02, nvmedir::kToDevice, 4097,
         "WARNING  [NvmeProtocolByIrst] datasize=4097 is more than 4096 bytes, not sent.\n"},
        {ProtocolCode::kNvmeByScsiMiniport, 3, 0x06, nvmedir::kNone, 0xFFFFFFFF,
         "WARNING  [NvmeProtocolByScsiMiniport] datasize=4294967295 is more than 4294967143 bytes, not sent.\n"},
    };
    std::vector<uint8_t> data(8192, 0x5A);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.line);
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
        EXPECT_TRUE(log.contains(c.line));
    }
}

// By number: scripts see these codes.
TEST(ProtocolRegistry, CodesAndTheirRoutes) {
    auto route = [](uint32_t code) { return createProtocol(static_cast<ProtocolCode>(code)); };
    EXPECT_NE(dynamic_cast<AtaProtocolOverAta*>(route(1).get()), nullptr);
    EXPECT_NE(dynamic_cast<AtaProtocolOverUsb*>(route(2).get()), nullptr);
    EXPECT_NE(dynamic_cast<ScsiProtocol*>(route(4).get()), nullptr);
    EXPECT_NE(dynamic_cast<NvmeProtocolByStornvme*>(route(6).get()), nullptr);
    EXPECT_NE(dynamic_cast<NvmeProtocolByScsiMiniport*>(route(7).get()), nullptr);
    EXPECT_NE(dynamic_cast<NvmeProtocolByIrst*>(route(8).get()), nullptr);
    EXPECT_THROW(route(3), std::bad_function_call);
    EXPECT_THROW(route(0), std::bad_function_call);
}
