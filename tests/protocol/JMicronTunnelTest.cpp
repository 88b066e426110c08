#include <gtest/gtest.h>
#include <windows.h>

#include <cstring>
#include <string>
#include <vector>

#include "core/ErrorCodes.h"
#include "protocol/CommandRecords.h"
#include "protocol/NvmeProtocolOverJMicron.h"
#include "tests/support/InstalledHost.h"
#include "vhost/NvmeBridge.h"
#include "vhost/NvmeController.h"

using namespace zel;
using zeltest::InstalledHost;

namespace {

// The tunnel is the default for this vendor and product.
const char kHost[] = R"({"disks": [
  {"number": 0, "busType": 7, "vendor": "JMicron", "model": "Generic USB", "serial": "JM0", "sectorCount": 4096}]})";

NvmeCommand record(uint8_t opcode, uint32_t nsid, uint32_t cdw10, uint8_t direction, bool admin = true) {
    NvmeCommand command;
    command.command[0] = opcode;
    command.command[2] = 0x34;  // command id, echoed in the completion
    command.command[3] = 0x12;
    command.setDword(1, nsid);
    command.setDword(10, cdw10);
    command.direction = direction;
    command.admin = admin ? 1 : 0;
    return command;
}

std::vector<std::string> phasesOf(vhost::VirtualHost& host) {
    std::vector<std::string> text;
    for (const vhost::BridgePhase& p : host.disk(0)->nvmeBridge()->lastPhases())
        text.push_back(std::to_string(p.phase) + (p.admin ? "A" : "I") + std::to_string(p.length));
    return text;
}

}  // namespace

TEST(NvmeProtocolOverJMicron, BlocksPhasesDataAndLimitsAsTheBridgeDecodesThem) {
    InstalledHost installed(kHost);
    vhost::VirtualHost& host = installed.host();
    NvmeProtocolOverJMicron tunnel;
    std::vector<uint8_t> data(4096);

    NvmeCommand identify = record(0x06, 0, 1, nvmedir::kFromDevice);
    ASSERT_TRUE(tunnel.sendCommand(0u, data.data(), 4096, &identify)) << lastError();
    EXPECT_EQ(phasesOf(host), (std::vector<std::string>{"0A512", "2A4096", "15A512"}));
    EXPECT_EQ(std::memcmp(host.disk(0)->nvme()->lastCommand(), identify.command, 64), 0)
        << "the submission entry is where the bridge looks for it";
    EXPECT_EQ(identify.completionDword(3), host.disk(0)->nvmeBridge()->lastCompletion().dword3);

    NvmeCommand features = record(0x0A, 0, 0x04, nvmedir::kNone);
    ASSERT_TRUE(tunnel.sendCommand(0u, nullptr, 0, &features));
    EXPECT_EQ(phasesOf(host), (std::vector<std::string>{"0A512", "1A0", "15A512"}));
    EXPECT_EQ(features.completionDword(0), 0x0157u) << "completion dword 0 of the response block";

    NvmeCommand missing = record(0x02, 0xFFFFFFFF, 0x007F0055, nvmedir::kFromDevice);
    EXPECT_FALSE(tunnel.sendCommand(0u, data.data(), 512, &missing));
    EXPECT_EQ(lastError(), err::kNvmeStatus);
    EXPECT_EQ(missing.status() >> 1, 0x0109) << "invalid log page";

    // The I/O queue, data out and back, and a length past the limit.
    std::vector<uint8_t> out(512), in(512);
    for (size_t i = 0; i < out.size(); ++i) out[i] = static_cast<uint8_t>(i * 7 + 3);
    NvmeCommand write = record(0x01, 1, 8, nvmedir::kToDevice, false);
    ASSERT_TRUE(tunnel.sendCommand(0u, out.data(), 512, &write));
    EXPECT_EQ(phasesOf(host), (std::vector<std::string>{"0I512", "3I512", "15I512"}));
    NvmeCommand read = record(0x02, 1, 8, nvmedir::kFromDevice, false);
    ASSERT_TRUE(tunnel.sendCommand(0u, in.data(), 512, &read));
    EXPECT_EQ(in, out);

    const unsigned commands = host.disk(0)->nvme()->commandCount();
    std::vector<uint8_t> big(8192);
    NvmeCommand tooLong = record(0x02, 0xFFFFFFFF, 0x07FF0002, nvmedir::kFromDevice);
    EXPECT_FALSE(tunnel.sendCommand(0u, big.data(), 8192, &tooLong));
    EXPECT_EQ(std::make_pair(lastError(), host.disk(0)->nvme()->commandCount()),
              std::make_pair(err::kNvmeNotSupported, commands)) << "refused, nothing sent";
}
