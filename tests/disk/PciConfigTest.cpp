#include <gtest/gtest.h>

#include <cstring>
#include <tuple>
#include <vector>

#include "disk/PciConfig.h"

namespace {

// A type-0 header of an NVMe controller: PM capability at 0x40, MSI-X at
// 0x50, PCI Express at 0x70; a Gen3 x4 link and 256-byte payloads.
std::vector<uint8_t> nvmeConfigSpace() {
    std::vector<uint8_t> space(256, 0);
    const uint8_t header[] = {0x4D, 0x14, 0x08, 0xA8,   // vendor 0x144D, device 0xA808
                              0x06, 0x04, 0x10, 0x00};  // command, status with capability list
    std::memcpy(space.data(), header, sizeof(header));
    const uint8_t bar[] = {0x04, 0x00, 0xB0, 0xFE, 0x01, 0x00, 0x00, 0x00};  // 64-bit memory BAR
    std::memcpy(&space[0x10], bar, sizeof(bar));
    space[0x34] = 0x40;
    space[0x40] = 0x01;  // power management, next 0x50
    space[0x41] = 0x50;
    space[0x50] = 0x11;  // MSI-X, next 0x70
    space[0x51] = 0x70;
    space[0x70] = 0x10;  // PCI Express, end of list
    space[0x71] = 0x00;
    space[0x78] = 0x20;  // device control: payload size code 1
    space[0x82] = 0x43;  // link status: speed 3, width 4
    return space;
}

zel::ConfigDwordReader readerOf(const std::vector<uint8_t>& space, int* reads = nullptr) {
    return [&space, reads](uint32_t offset, uint32_t* value) {
        if (reads) ++*reads;
        EXPECT_EQ(offset % 4, 0u);
        std::memcpy(value, &space[offset], 4);
        return true;
    };
}

// Ids, bus and link are also read through ZelCli.exe from the virtual host's
// configuration space (DiskCommandsEndToEndTest.cpp).
TEST(PciConfig, MechanismOneAddressAndNvmeFunctionFields) {
    EXPECT_EQ(zel::pciConfigAddress(0, 0, 0, 0), 0x80000000u);
    EXPECT_EQ(zel::pciConfigAddress(3, 0, 0, 0x10), 0x80030010u);
    EXPECT_EQ(zel::pciConfigAddress(0x12, 0x1F, 7, 0x82), 0x8012FF80u);
    const std::vector<uint8_t> space = nvmeConfigSpace();
    zel::PcieInfo info;
    ASSERT_TRUE(zel::inspectPcieFunction(2, 0, 0, readerOf(space), &info));
    EXPECT_EQ(std::make_tuple(info.hardwareId, info.bar0, info.pmCapOffset, info.pcieCapOffset, info.linkSpeed,
                              info.linkWidth, info.maxPayloadSize, info.maxPayloadText()),
              std::make_tuple("PCI\\VEN_144D&DEV_A808", 0x1FEB00000ull, 0x40u, 0x70u, 3u, 4u, 256u, "256B"));
}

TEST(PciConfig, AbsentFunctionAndBrokenLists) {
    std::vector<uint8_t> empty(256, 0xFF);
    zel::PcieInfo info;
    EXPECT_FALSE(zel::inspectPcieFunction(0, 1, 0, readerOf(empty), &info));

    std::vector<uint8_t> noList = nvmeConfigSpace();
    noList[6] = 0x00;  // status without the capability list bit
    EXPECT_EQ(zel::findCapability(readerOf(noList), 0x10), 0u);

    std::vector<uint8_t> loop = nvmeConfigSpace();
    loop[0x71] = 0x40;  // PCIe capability points back to the first one
    int reads = 0;
    EXPECT_EQ(zel::findCapability(readerOf(loop, &reads), 0x05), 0u);
    EXPECT_LT(reads, 60);

    std::vector<uint8_t> io = nvmeConfigSpace();
    const uint8_t ioBar[] = {0x01, 0xE0, 0x00, 0x00};  // I/O BAR at 0xE000
    std::memcpy(&io[0x10], ioBar, sizeof(ioBar));
    ASSERT_TRUE(zel::inspectPcieFunction(0, 0, 0, readerOf(io), &info));
    EXPECT_EQ(info.bar0, 0xE000ull);
}

}  // namespace
