// Byte builders of the routes, checked byte by byte against hand-worked
// layouts (offsets written as numbers, not through the structures).
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "protocol/PassThroughBuilders.h"

using namespace zel;

namespace {

template <typename Block>
std::vector<uint8_t> bytesOf(const Block& block) {
    std::vector<uint8_t> raw(sizeof block);
    std::memcpy(raw.data(), &block, sizeof block);
    return raw;
}

uint32_t u32At(const std::vector<uint8_t>& raw, size_t at) {
    return raw[at] | raw[at + 1] << 8 | raw[at + 2] << 16 | uint32_t(raw[at + 3]) << 24;
}

std::vector<uint8_t> cdbOf(const ScsiCommand& command) {
    return std::vector<uint8_t>(command.cdb, command.cdb + command.cdbLength);
}

AtaCommand ata(uint8_t opcode, uint16_t flags, uint64_t lba = 0, uint8_t device = 0xA0) {
    AtaCommand command;
    command.command = opcode;
    command.flags = flags;
    command.lba = lba;
    command.device = device;
    command.count = 1;
    return command;
}

}  // namespace

TEST(AtaPassThroughBuilder, TaskFilesOf28And48BitCommands) {
    AtaCommand narrow = ata(0x20, ataflags::kDataIn, 0x0ABCDEF1, 0xE0);
    narrow.timeout = 8;
    std::vector<uint8_t> raw = bytesOf(buildAtaPassThrough(narrow, 512, 0x1122334455667788ull));
    ASSERT_EQ(raw.size(), 48u);
    EXPECT_EQ(raw[0] | raw[1] << 8, 48);
    EXPECT_EQ(raw[2] | raw[3] << 8, 0x03) << "data in plus DRDY";
    EXPECT_EQ(u32At(raw, 8), 512u);
    EXPECT_EQ(u32At(raw, 12), 8u);
    EXPECT_EQ(u32At(raw, 24), 0x55667788u);
    EXPECT_EQ(u32At(raw, 28), 0x11223344u);
    EXPECT_EQ(std::vector<uint8_t>(raw.begin() + 32, raw.begin() + 40), std::vector<uint8_t>(8, 0));
    EXPECT_EQ(std::vector<uint8_t>(raw.begin() + 40, raw.end()),
              (std::vector<uint8_t>{0x00, 0x01, 0xF1, 0xDE, 0xBC, 0xEA, 0x20, 0x00}));

    AtaCommand wide = ata(0x25, ataflags::kDataIn | ataflags::k48Bit | ataflags::kDma, 0x123456789ABCull, 0x40);
    wide.feature = 0xAB12;
    wide.count = 0x0102;
    raw = bytesOf(buildAtaPassThrough(wide, 1024, 0));
    EXPECT_EQ(raw[2], 0x1B);
    EXPECT_EQ(std::vector<uint8_t>(raw.begin() + 32, raw.begin() + 40),
              (std::vector<uint8_t>{0xAB, 0x01, 0x56, 0x34, 0x12, 0, 0, 0}));
    EXPECT_EQ(std::vector<uint8_t>(raw.begin() + 40, raw.end()),
              (std::vector<uint8_t>{0x12, 0x02, 0xBC, 0x9A, 0x78, 0x40, 0x25, 0x00}));
}

TEST(SatCommandBuilder, PassThroughCdbs) {
    AtaCommand identify = ata(0xEC, ataflags::kDataIn);
    ScsiCommand scsi = buildSatCommand(identify);
    EXPECT_EQ(cdbOf(scsi), (std::vector<uint8_t>{0xA1, 0x08, 0x0E, 0x00, 0x01, 0x00, 0x00, 0x00, 0xA0, 0xEC, 0, 0}));
    EXPECT_EQ(scsi.direction, 1);
    EXPECT_EQ(+scsi.timeout, 0u) << "0 stays 0 for the SCSI route to replace";

    AtaCommand readDmaExt = ata(0x25, ataflags::kDataIn | ataflags::k48Bit | ataflags::kDma, 0x123456789ABCull, 0x40);
    readDmaExt.feature = 0xAB12;
    readDmaExt.count = 0x0102;
    readDmaExt.timeout = 12;
    scsi = buildSatCommand(readDmaExt);
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

TEST(ScsiPassThroughBuilder, BlockWithFillerAndSense) {
    ScsiCommand command;
    command.cdbLength = 10;
    const uint8_t cdb[16] = {0x28, 0, 0, 0, 0, 8, 0, 0, 1, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    std::memcpy(command.cdb, cdb, 16);
    command.direction = 1;
    command.timeout = 30;
    std::vector<uint8_t> raw = bytesOf(buildScsiPassThrough(command, 512, 0xCAFE));
    ASSERT_EQ(raw.size(), 92u);
    EXPECT_EQ(raw[0] | raw[1] << 8, 56);
    EXPECT_EQ(raw[4], 1) << "TargetId";
    EXPECT_EQ(raw[6], 10);
    EXPECT_EQ(raw[7], 32);
    EXPECT_EQ(raw[8], 1);
    EXPECT_EQ(u32At(raw, 12), 512u);
    EXPECT_EQ(u32At(raw, 16), 30u);
    EXPECT_EQ(u32At(raw, 24), 0xCAFEu);
    EXPECT_EQ(u32At(raw, 32), 60u);
    EXPECT_EQ(std::vector<uint8_t>(raw.begin() + 36, raw.begin() + 52),
              (std::vector<uint8_t>{0x28, 0, 0, 0, 0, 8, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0}))
        << "bytes past the CDB length are not copied";
    EXPECT_EQ(std::vector<uint8_t>(raw.begin() + 52, raw.end()), std::vector<uint8_t>(40, 0));
}

TEST(NvmeQueryBuilder, PropertyAndDataTypePerOpcode) {
    StorageProtocolQuery query;
    NvmeCommand identify;
    identify.command[0] = 0x06;
    ASSERT_TRUE(buildNvmeQuery(identify, 4096, &query));
    std::vector<uint8_t> raw = bytesOf(query);
    EXPECT_EQ(u32At(raw, 0), 49u);
    EXPECT_EQ(u32At(raw, 4), 0u);
    EXPECT_EQ(u32At(raw, 8), 3u);
    EXPECT_EQ(u32At(raw, 12), 1u);
    EXPECT_EQ(u32At(raw, 16), 1u) << "controller when NSID is 0";
    EXPECT_EQ(u32At(raw, 20), 0u);
    EXPECT_EQ(u32At(raw, 24), 40u);
    EXPECT_EQ(u32At(raw, 28), 4096u);

    identify.setDword(1, 1);
    buildNvmeQuery(identify, 4096, &query);
    raw = bytesOf(query);
    EXPECT_EQ(u32At(raw, 16), 0u);
    EXPECT_EQ(u32At(raw, 20), 1u);

    NvmeCommand telemetry;
    telemetry.command[0] = 0x02;
    telemetry.setDword(10, 0x007F0E07);
    ASSERT_TRUE(buildNvmeQuery(telemetry, 512, &query));
    raw = bytesOf(query);
    EXPECT_EQ(telemetry.dword(10), 0x007F0107u);
    EXPECT_EQ(u32At(raw, 12), 2u);
    EXPECT_EQ(u32At(raw, 16), 7u);
    EXPECT_EQ(u32At(raw, 28), 512u);

    NvmeCommand health;
    health.command[0] = 0x02;
    health.setDword(10, 0x007F0E02);
    buildNvmeQuery(health, 512, &query);
    EXPECT_EQ(health.dword(10), 0x007F0E02u) << "only telemetry requests are rewritten";

    NvmeCommand features;
    features.command[0] = 0x0A;
    features.setDword(10, 0x107);
    ASSERT_TRUE(buildNvmeQuery(features, 64, &query));
    raw = bytesOf(query);
    EXPECT_EQ(u32At(raw, 0), 50u);
    EXPECT_EQ(u32At(raw, 12), 3u);
    EXPECT_EQ(u32At(raw, 16), 0x107u);
    EXPECT_EQ(u32At(raw, 28), 4096u);

    NvmeCommand format;
    format.command[0] = 0x09;
    EXPECT_FALSE(buildNvmeQuery(format, 0, &query));
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

TEST(NvmeBlockBuilders, ProtocolCommandMiniportAndIrst) {
    NvmeCommand command;
    command.command[0] = 0xC2;
    command.timeout = 30;
    command.direction = nvmedir::kFromDevice;
    std::vector<uint8_t> block(512 + 208, 0);
    fillProtocolCommand(block.data(), command, 512);
    EXPECT_EQ(u32At(block, 0), 1u);
    EXPECT_EQ(u32At(block, 4), 84u);
    EXPECT_EQ(u32At(block, 8), 3u);
    EXPECT_EQ(u32At(block, 12), 0x80000000u);
    EXPECT_EQ(u32At(block, 24), 64u);
    EXPECT_EQ(u32At(block, 28), 64u);
    EXPECT_EQ(u32At(block, 32), 0u);
    EXPECT_EQ(u32At(block, 36), 512u);
    EXPECT_EQ(u32At(block, 40), 30u);
    EXPECT_EQ(u32At(block, 44), 144u);
    EXPECT_EQ(u32At(block, 48), 0u);
    EXPECT_EQ(u32At(block, 52), 208u);
    EXPECT_EQ(u32At(block, 56), 1u);
    EXPECT_EQ(block[80], 0xC2);

    command.admin = 0;
    std::vector<uint8_t> mini(512 + 152, 0);
    fillMiniportBlock(mini.data(), static_cast<uint32_t>(mini.size()), command, 512);
    EXPECT_EQ(u32At(mini, 0), 28u);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(&mini[4]), 8), "NvmeMini");
    EXPECT_EQ(u32At(mini, 12), 30u);
    EXPECT_EQ(u32At(mini, 16), 0xE0002000u);
    EXPECT_EQ(u32At(mini, 24), 664u - 28u);
    EXPECT_EQ(mini[52], 0xC2);
    EXPECT_EQ(u32At(mini, 132), 2u);
    EXPECT_EQ(u32At(mini, 136), 1u) << "I/O queue";
    EXPECT_EQ(u32At(mini, 140), 512u);
    EXPECT_EQ(u32At(mini, 148), 664u);

    std::vector<uint8_t> irst(sizeof(IrstNvmeBlock));
    fillIrstBlock(*reinterpret_cast<IrstNvmeBlock*>(irst.data()), command, 5);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(&irst[4]), 8), "IntelNvm");
    EXPECT_EQ(u32At(irst, 16), 0xF0002808u);
    EXPECT_EQ(u32At(irst, 24), 4232u);
    EXPECT_EQ(irst[28], 1);
    EXPECT_EQ(irst[29], 5);
    EXPECT_EQ(irst[32], 0xC2);
    EXPECT_EQ(u32At(irst, 112), 1u);
    EXPECT_EQ(u32At(irst, 116), 164u);
    EXPECT_EQ(u32At(irst, 120), 4096u);
}
