#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <vector>

#include "protocol/CommandRecords.h"
#include "protocol/ProtocolRegistry.h"
#include "tests/support/InstalledHost.h"

using namespace zel;

namespace {

std::string exampleHost() {
    std::ifstream file(std::string("Z:") + ZEL_SOURCE_DIR + "/vhost/examples/host.json");
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

std::string trimmed(const uint8_t* bytes, size_t width) {
    std::string text(reinterpret_cast<const char*>(bytes), width);
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

}  // namespace

// Every disk of the bundled host answers IDENTIFY or INQUIRY on the route the
// disk list gives it.
TEST(ExampleHost, EachDiskAnswersOnItsRoute) {
    zeltest::InstalledHost installed(exampleHost());
    ASSERT_TRUE(installed.loaded()) << installed.problem();
    std::vector<uint8_t> data(4096);

    AtaCommand identify;
    identify.count = 1;
    identify.device = 0xA0;
    identify.command = 0xEC;
    identify.flags = ataflags::kDataIn;
    ASSERT_TRUE(createProtocol(protocolcode::kAtaOverAta)->sendCommand(0u, data.data(), 512, &identify));
    EXPECT_EQ(data[54], 'e') << "\"Zeltron\" byte-swapped in word 27";
    AtaCommand overUsb = identify;
    overUsb.command = 0xEC;
    ASSERT_TRUE(createProtocol(protocolcode::kAtaOverUsb)->sendCommand(5u, data.data(), 512, &overUsb));

    const std::pair<uint32_t, uint32_t> nvmeDisks[] = {{1, protocolcode::kNvmeByStornvme},
                                                       {2, protocolcode::kNvmeByIrst},
                                                       {3, protocolcode::kNvmeByScsiMiniport}};
    for (const auto& [disk, code] : nvmeDisks) {
        NvmeCommand command;
        command.command[0] = 0x06;
        command.setDword(10, 1);
        command.direction = nvmedir::kFromDevice;
        command.diskNumber = disk;
        ASSERT_TRUE(createProtocol(code)->sendCommand(disk, data.data(), 4096, &command)) << "disk " << disk;
        EXPECT_EQ(trimmed(&data[24], 40), installed.host().description().disk(disk)->model);
    }
    for (uint32_t disk : {4u, 6u}) {
        ScsiCommand inquiry;
        inquiry.cdbLength = 6;
        inquiry.cdb[0] = 0x12;
        inquiry.cdb[4] = 36;
        inquiry.direction = scsidir::kIn;
        ASSERT_TRUE(createProtocol(protocolcode::kScsi)->sendCommand(disk, data.data(), 36, &inquiry));
        EXPECT_EQ(trimmed(&data[16], 16), installed.host().description().disk(disk)->model);
    }
}
