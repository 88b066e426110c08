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

    // PROTOCOL and EXTEND in byte 1, the transfer flags in byte 2; DMA without data is protocol 6.
    const struct { uint16_t flags; uint8_t byte1, byte2; } transfers[] = {
        {0, 0x00, 0x00}, {ataflags::k48Bit, 0x01, 0x00}, {ataflags::kDma, 0x0C, 0x00},
        {ataflags::kDataOut | ataflags::kDma | ataflags::k48Bit, 0x17, 0x06}};
    for (const auto& t : transfers) {
        const ScsiCommand sat = buildSatCommand(ata(0xEA, t.flags));
        EXPECT_EQ(std::make_pair(+sat.cdb[1], +sat.cdb[2]), std::make_pair(+t.byte1, +t.byte2)) << t.flags;
    }
}

TEST(NvmeCompletionStore, CrossedDwordsAndErrorCode) {
    StorageProtocolDataDescriptor descriptor{};
    const uint32_t words[4] = {0x11, 0x22, 0x33, 0x44};  // offsets 32, 36, 40, 44
    std::memcpy(reinterpret_cast<uint8_t*>(&descriptor) + 32, words, 16);
    NvmeCommand command;
    storeQueryCompletion(command, descriptor);
    EXPECT_EQ((std::vector<uint32_t>{command.completionDword(0), command.completionDword(1), command.completionDword(2),
                                     command.completionDword(3)}), (std::vector<uint32_t>{0x11, 0x44, 0x22, 0x33}));

    command.setStatus(0xFFFF);
    storeProtocolCommandCompletion(command, 0xABCD, 0x1AB);
    EXPECT_EQ(command.completionDword(0), 0xABCDu);
    EXPECT_EQ(command.status(), 0xFF57) << "bits 8..1 = 0xAB, other bits kept";
    EXPECT_EQ(command.completion[14] | command.completion[15] << 8, 0xFF57) << "status half-word at record offset 83";
}
