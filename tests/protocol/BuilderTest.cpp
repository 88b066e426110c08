// Byte builders of the routes, checked byte by byte against hand-worked
// layouts (offsets written as numbers, not through the structures).
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "protocol/PassThroughBuilders.h"
#include "tests/support/Commands.h"

using namespace zel;

namespace {

std::vector<uint8_t> cdbOf(const ScsiCommand& command) {
    return std::vector<uint8_t>(command.cdb, command.cdb + command.cdbLength);
}

AtaCommand ata(uint8_t opcode, uint16_t flags, uint64_t lba = 0, uint8_t device = 0xA0) {
    return zeltest::ataCommand(opcode, flags, lba, 1, device);
}

}  // namespace

TEST(SatCommandBuilder, PassThroughCdbs) {
    EXPECT_EQ(+buildSatCommand(ata(0xEC, ataflags::kDataIn)).timeout, 0u) << "0 stays 0 for the SCSI route to replace";
    AtaCommand readDmaExt = ata(0x25, ataflags::kDataIn | ataflags::k48Bit | ataflags::kDma, 0x123456789ABCull, 0x40);
    readDmaExt.feature = 0xAB12;
    readDmaExt.count = 0x0102;
    readDmaExt.timeout = 12;
    ScsiCommand scsi = buildSatCommand(readDmaExt);
    EXPECT_EQ(cdbOf(scsi), (std::vector<uint8_t>{0x85, 0x15, 0x0E, 0xAB, 0x12, 0x01, 0x02, 0x56, 0xBC, 0x34, 0x9A,
                                                 0x12, 0x78, 0x40, 0x25, 0x00}));
    EXPECT_EQ(+scsi.timeout, 12u);

    AtaCommand write = ata(0x30, ataflags::kDataOut, 0x0ABCDEF1, 0xE0);
    scsi = buildSatCommand(write);
    EXPECT_EQ(cdbOf(scsi), (std::vector<uint8_t>{0xA1, 0x0A, 0x06, 0x00, 0x01, 0xF1, 0xDE, 0xBC, 0xEA, 0x30, 0, 0}));
    EXPECT_EQ(scsi.direction, 0);

    EXPECT_EQ(buildSatCommand(ata(0xE7, 0)).cdb[1], 0x00);
    EXPECT_EQ(buildSatCommand(ata(0xE7, 0)).cdb[2], 0x00);
    EXPECT_EQ(buildSatCommand(ata(0xEA, ataflags::k48Bit)).cdb[1], 0x01);
    EXPECT_EQ(buildSatCommand(ata(0xEA, ataflags::kDma)).cdb[1], 0x0C) << "no data with DMA: protocol 6";
    EXPECT_EQ(buildSatCommand(ata(0x35, ataflags::kDataOut | ataflags::kDma | ataflags::k48Bit)).cdb[1], 0x17);
}

TEST(NvmeCompletionStore, CrossedDwordsAndErrorCode) {
    StorageProtocolDataDescriptor descriptor{};
    descriptor.FixedProtocolReturnData = 0x11;
    uint32_t words[3] = {0x22, 0x33, 0x44};  // offsets 36, 40, 44
    std::memcpy(reinterpret_cast<uint8_t*>(&descriptor) + 36, words, 12);
    NvmeCommand command;
    storeQueryCompletion(command, descriptor);
    EXPECT_EQ(command.completionDword(0), 0x11u);
    EXPECT_EQ(command.completionDword(1), 0x44u);
    EXPECT_EQ(command.completionDword(2), 0x22u);
    EXPECT_EQ(command.completionDword(3), 0x33u);

    command.setStatus(0xFFFF);
    storeProtocolCommandCompletion(command, 0xABCD, 0x1AB);
    EXPECT_EQ(command.completionDword(0), 0xABCDu);
    EXPECT_EQ(command.status(), 0xFF57) << "bits 8..1 = 0xAB, other bits kept";
    EXPECT_EQ(command.completion[14] | command.completion[15] << 8, 0xFF57) << "status half-word at record offset 83";
}
