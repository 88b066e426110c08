// The emulated devices without the Windows layer. Identity, SMART values,
// log pages, trims and power-on hours are read back through ZelCli.exe
// (SmartEndToEnd, CmdEndToEnd, RwEndToEnd); here an answer's length no run
// asks for.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "tests/support/TempDir.h"
#include "vhost/NvmeController.h"
#include "vhost/VirtualDisk.h"

using namespace zel::vhost;

// The write-and-trim vendor command: CDW10 is the dword count minus one,
// namespace 1. Runs that use the answer are checked by RwEndToEnd.
TEST(WriteTrimRanges, AnswerLayoutLengthAndNamespace) {
    zeltest::TempDir folder;
    HostState state(folder.path());
    DiskDescription description;
    description.deviceInterface = "nvme";
    description.capacityBytes = 64 * 512;
    description.answersWriteTrimRanges = true;
    description.writeTrimRanges = {{100, 8, 1}, {200, 16, 2}};
    VirtualDisk disk(description, state);
    auto ask = [&](uint32_t nsid, uint32_t cdw10, std::vector<uint8_t>& data) {
        uint8_t sqe[64] = {0xC6};
        std::memcpy(sqe + 4, &nsid, 4);
        std::memcpy(sqe + 40, &cdw10, 4);
        NvmeCompletion completion;
        disk.nvme()->execute(sqe, true, data.data(), static_cast<uint32_t>(data.size()), &completion);
        return completion.statusField();
    };
    std::vector<uint8_t> data(4096, 0xEE);
    ASSERT_EQ(ask(1, 1023, data), 0);
    std::vector<uint32_t> answer(10);  // count, reserved, then {lba (2 dwords), sectors, op} per range
    std::memcpy(answer.data(), data.data(), 40);
    EXPECT_EQ(answer, (std::vector<uint32_t>{2, 0, 100, 0, 8, 1, 200, 0, 16, 2}));
    data.assign(4096, 0xEE);
    ASSERT_EQ(ask(1, 3, data), 0);
    EXPECT_EQ(data[0], 2) << "the count";
    EXPECT_EQ(data[15], 0) << "the dwords asked for";
    EXPECT_EQ(data[16], 0xEE) << "and no more";
    EXPECT_EQ(ask(2, 1023, data), nvmestatus::kInvalidNamespace);
}
