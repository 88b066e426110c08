// Each switch class's bytes as the virtual host decodes them, and what they
// do to the disks the board powers.
#include <gtest/gtest.h>
#include <windows.h>

#include <tuple>

#include "core/ErrorCodes.h"
#include "disk/DiskBase.h"
#include "disk/DiskList.h"
#include "power/PowerSwitch.h"
#include "tests/support/InstalledHost.h"
#include "vhost/PowerBoard.h"

using namespace zel;

namespace {

std::string usbDisk(int number, const std::string& vendor, const std::string& model, const std::string& firmware) {
    return R"({"number": )" + std::to_string(number) + R"(, "busType": 7, "vendor": ")" + vendor +
           R"(", "model": ")" + model + R"(", "firmware": ")" + firmware + R"(", "serial": "B)" +
           std::to_string(number) + R"(", "sectorCount": 64, "scsiAddress": {"port": )" + std::to_string(number) + "}}";
}

// Boards on disks 1..5, each powering one SATA drive on disks 6..10.
std::string boardsHost() {
    std::string disks = usbDisk(1, "", "HX410   Reader", "1.08") + "," + usbDisk(2, "", "HX410     Reader", "2.00") +
                        "," + usbDisk(3, "", "HXPWR410 Virtual", "1.00") + "," +
                        usbDisk(4, "", "HXPWR410 Virtual", "2.10") + "," + usbDisk(5, "JMicron", "Generic USB", "0509");
    for (int dut = 6; dut <= 10; ++dut)
        disks += R"(, {"number": )" + std::to_string(dut) + R"(, "busType": 11, "serial": "DUT)" + std::to_string(dut) +
                 R"(", "sectorCount": 64, "driver": {"provider": "Microsoft"}, "scsiAddress": {"port": )" +
                 std::to_string(dut) + "}}";
    return R"({"disks": [)" + disks + R"(], "powerSwitches": [
      {"kind": "SataHX410V1", "disk": 1, "powers": [6]}, {"kind": "SataHX410V2", "disk": 2, "powers": [7]},
      {"kind": "PcieHX410V1", "disk": 3, "powers": [8]},
      {"kind": "PcieHX410V2", "disk": 4, "powers": [9], "millivolts": 4001, "milliamps": 50},
      {"kind": "JMicronS583", "disk": 5, "powers": [10]}]})";
}

// The class, the board's disk, the DUT's disk, and the off and on commands.
// The second SATA generation's bytes, and the measure and voltage commands
// of the second PCIe one, are checked end to end (PowerEndToEndTest.cpp).
const std::tuple<BoardClass, int, int, const char*, const char*> kCases[] = {
    {BoardClass::SataHX410V1, 1, 6, "disk 1 SataHX410V1 off F0 F1 00 00 00 00 00 00 00 00 00 00 00 00 00 00",
     "disk 1 SataHX410V1 on F0 F1 FF 00 00 00 00 00 00 00 00 00 00 00 00 00"},
    {BoardClass::PcieHX410V1, 3, 8, "disk 3 PcieHX410V1 off marker@3584 48 58 50 57 52 34 31 30 4F 46",
     "disk 3 PcieHX410V1 on marker@3584 48 58 50 57 52 34 31 30 4F 4E"},
    {BoardClass::PcieHX410V2, 4, 9, "disk 4 PcieHX410V2 off C0 52 02 00 00 00 00 00 00 00 00 08 00 00 00 00",
     "disk 4 PcieHX410V2 on C0 52 01 00 00 00 00 00 00 00 00 08 00 00 00 00"},
    {BoardClass::JMicronGpio, 5, 10, "disk 5 JMicronS583 off DF 47 00 00 00 00 00 00 00 00 00 00 00 00 00 00",
     "disk 5 JMicronS583 on DF 47 00 01 00 00 00 00 00 00 00 00 00 00 00 00"},
};

}  // namespace

TEST(BoardRoutes, EveryClassSwitchesItsDutWithTheBytesTheBoardExpects) {
    zeltest::InstalledHost installed(boardsHost());
    vhost::VirtualHost& host = installed.host();
    for (const auto& [board, disk, dut, off, on] : kCases) {
        SCOPED_TRACE(boardClassName(board));
        DiskList::instance().reset();
        DiskBase* listed = DiskList::instance().get(false).findDisk(DiskSelector::byNumber(disk));
        ASSERT_NE(listed, nullptr);
        std::unique_ptr<PowerSwitch> power = createPowerSwitch(board, *listed);
        ASSERT_TRUE(power);
        ASSERT_TRUE(power->powerOff()) << errorText(lastError());
        EXPECT_EQ(host.board(disk)->decoded().back(), off);
        EXPECT_TRUE(host.disk(dut)->hidden());
        const uint32_t flags = host.lastRequest().openFlags;
        EXPECT_TRUE(board != BoardClass::PcieHX410V1 || flags == 0x20000000u) << "opened unbuffered: " << flags;
        ASSERT_TRUE(power->powerOn()) << errorText(lastError());
        EXPECT_EQ(host.board(disk)->decoded().back(), on);
        EXPECT_FALSE(host.disk(dut)->hidden());
        EXPECT_EQ(host.disk(dut)->counters().powerCycles, 1u);
        EXPECT_EQ(host.disk(dut)->counters().unsafeShutdowns, 1u);
    }
}
