// What a power cut does to an emulated drive: graceful or unsafe by what the
// drive saw, the volatile write cache, the shutdown registers, the boards'
// decoding, the platform's power registers. Windows-free.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <vector>

#include "tests/support/TempDir.h"
#include "vhost/AtaDevice.h"
#include "vhost/NvmeRegisters.h"
#include "vhost/PlatformPower.h"
#include "vhost/PowerBoard.h"
#include "vhost/ScsiTarget.h"
#include "vhost/VirtualDisk.h"

using namespace zel::vhost;

namespace {

constexpr uint32_t kSector = 512;

struct Rig {
    explicit Rig(const std::string& cache, const char* interfaceName = "ata", uint32_t shutdownAttempts = 1)
        : state(folder.path()) {
        DiskDescription d;
        d.deviceInterface = interfaceName;
        d.capacityBytes = 64 * kSector;
        d.writeCache = cache;
        d.shutdownAttempts = shutdownAttempts;
        disk = std::make_unique<VirtualDisk>(d, state);
    }
    void write(uint64_t lba, uint64_t count, uint8_t fill, bool fua = false) {
        std::vector<uint8_t> data(count * kSector, fill);
        ASSERT_EQ(disk->writeMedia(lba * kSector, data.data(), data.size(), nullptr, fua), VirtualDisk::MediaResult::Ok);
    }
    // The first byte of each sector.
    std::vector<uint8_t> firstBytes(uint64_t count) {
        std::vector<uint8_t> data(count * kSector), firsts;
        EXPECT_EQ(disk->readMedia(0, data.data(), data.size()), VirtualDisk::MediaResult::Ok);
        for (uint64_t i = 0; i < count; ++i) firsts.push_back(data[i * kSector]);
        return firsts;
    }
    void ata(uint8_t command) {
        AtaTaskFile taskFile;
        taskFile.command = command;
        disk->ata()->execute(taskFile, nullptr, 0);
        ASSERT_EQ(taskFile.status & atastatus::kErr, 0) << std::hex << int(command);
    }
    void powerCycle() {
        disk->cutPower();
        disk->restorePower();
    }

    zeltest::TempDir folder;
    HostState state;
    std::unique_ptr<VirtualDisk> disk;
};

// CMOS with an alarm at 00:00:10 and status B as given.
struct Cmos {
    std::map<uint8_t, uint8_t> registers{{0x01, 0x10}, {0x03, 0x00}, {0x05, 0x00}, {0x0B, 0x22}};
    uint8_t operator()(uint8_t index) { return registers[index]; }
};

}  // namespace

// What a gsd or ugsd run leaves on the disk is checked by PowerEndToEnd;
// here forced unit access and reads served from the cache.
TEST(PowerEmulation, UnflushedWritesAreLostOnAnUnsafeCut) {
    Rig rig("volatile");
    rig.write(0, 4, 0x11);
    rig.ata(0xEA);  // FLUSH CACHE EXT
    rig.write(2, 4, 0x22);
    rig.write(8, 2, 0x33, true);  // forced unit access
    EXPECT_EQ(rig.firstBytes(10), (std::vector<uint8_t>{0x11, 0x11, 0x22, 0x22, 0x22, 0x22, 0, 0, 0x33, 0x33}))
        << "the cache serves reads";
    rig.powerCycle();
    EXPECT_EQ(rig.firstBytes(10), (std::vector<uint8_t>{0x11, 0x11, 0x11, 0x11, 0, 0, 0, 0, 0x33, 0x33}))
        << "sectors 2..5 go back to their flushed data";
    EXPECT_EQ(rig.disk->counters().unsafeShutdowns, 1u);
}

TEST(PowerEmulation, StandbyWithoutFlushOrWrittenAfterIsUnsafe) {
    Rig rig("none");
    rig.ata(0xE0);
    rig.powerCycle();
    EXPECT_EQ(rig.disk->counters().unsafeShutdowns, 1u) << "standby alone";
    rig.ata(0xE7);
    rig.ata(0xE0);
    rig.write(0, 1, 0x55);
    rig.powerCycle();
    EXPECT_EQ(rig.disk->counters().unsafeShutdowns, 2u) << "a write after the standby";
    EXPECT_EQ(rig.firstBytes(1)[0], 0x55) << "without a cache every write is durable";
}

TEST(PowerEmulation, TornCacheKeepsOddSectorsAndSurvivesARestartOfTheHost) {
    Rig rig("torn");
    rig.write(0, 6, 0x66);
    // The next run's host, from the same state folder, makes the cut.
    VirtualDisk later(rig.disk->description(), rig.state);
    later.cutPower();
    later.restorePower();
    EXPECT_EQ(rig.firstBytes(6), (std::vector<uint8_t>{0, 0x66, 0, 0x66, 0, 0x66}));
}

TEST(PowerEmulation, UnpoweredDiskRefusesRequestsAndItsRegistersReadAllOnes) {
    Rig rig("none", "nvme");
    rig.disk->cutPower();
    EXPECT_TRUE(rig.disk->hidden());
    EXPECT_FALSE(rig.disk->admitRequest());
    EXPECT_EQ(rig.disk->readControllerRegister(NvmeRegisters::kCsts), 0xFFFFFFFFu);
    rig.disk->cutPower();
    EXPECT_EQ(rig.disk->counters().unsafeShutdowns, 1u) << "a second cut of a dark disk counts nothing";
    rig.disk->restorePower();
    rig.disk->restorePower();
    EXPECT_EQ(rig.disk->counters().powerCycles, 1u);
    EXPECT_FALSE(rig.disk->hidden());
}

TEST(PowerEmulation, ShutdownNotificationCompletesOnTheDescribedAttempt) {
    const uint32_t normalShutdown = NvmeRegisters::kResetCc | 0x4000;
    auto shst = [](NvmeRegisters& r) { return (r.read(NvmeRegisters::kCsts) >> 2) & 3; };
    NvmeRegisters third(3);
    EXPECT_EQ(shst(third), 0u);
    EXPECT_EQ(third.read(NvmeRegisters::kCsts) & 1, 1u) << "CC.EN shows as CSTS.RDY";
    for (int attempt = 1; attempt <= 2; ++attempt) {
        third.write(NvmeRegisters::kCc, normalShutdown);
        EXPECT_EQ(shst(third), 1u) << "processing, attempt " << attempt;
    }
    third.write(NvmeRegisters::kCc, normalShutdown);
    EXPECT_EQ(shst(third), 2u);
    EXPECT_EQ(third.read(NvmeRegisters::kCc), normalShutdown);
    third.reset();
    EXPECT_EQ(shst(third), 0u);
    EXPECT_EQ(third.shutdownRequests(), 0u);

    NvmeRegisters never(0);
    for (int attempt = 0; attempt < 20; ++attempt) never.write(NvmeRegisters::kCc, normalShutdown);
    EXPECT_EQ(shst(never), 1u);
}

TEST(PowerEmulation, CompletedNotificationMakesTheCutGracefulAndFlushes) {
    Rig rig("volatile", "nvme", 2);
    rig.write(0, 2, 0x77);
    rig.disk->writeControllerRegister(NvmeRegisters::kCc, NvmeRegisters::kResetCc | 0x4000);
    rig.powerCycle();
    EXPECT_EQ(rig.disk->counters().unsafeShutdowns, 1u) << "SHST still 1: not graceful";
    EXPECT_EQ(rig.firstBytes(1)[0], 0) << "and the cache is lost";
    rig.write(0, 2, 0x77);
    for (int attempt = 0; attempt < 2; ++attempt)
        rig.disk->writeControllerRegister(NvmeRegisters::kCc, NvmeRegisters::kResetCc | 0x4000);
    rig.powerCycle();
    EXPECT_EQ(rig.disk->counters().unsafeShutdowns, 1u);
    EXPECT_EQ(rig.firstBytes(1)[0], 0x77);
    EXPECT_EQ(rig.disk->counters().powerCycles, 2u);
}

TEST(PowerEmulation, BoardsDecodeOnlyTheirOwnCommands) {
    zeltest::TempDir folder;
    HostState state(folder.path());
    DiskDescription d;
    d.deviceInterface = "scsi";
    d.capacityBytes = 64 * kSector;
    DiskDescription boardDescription = d;
    boardDescription.number = 8;
    VirtualDisk boardDisk(boardDescription, state), dut(d, state);
    PowerSwitchDescription described;
    described.kind = "SataHX410V1";
    PowerBoard board(described, boardDisk, {&dut}, "");
    uint8_t cdb[16] = {0xF0, 0xF1, 0x00};
    ASSERT_TRUE(board.execute(cdb, 16, nullptr, 0).has_value());
    EXPECT_TRUE(dut.hidden());
    cdb[2] = 0x7F;
    EXPECT_EQ(board.execute(cdb, 16, nullptr, 0)->sense[12], 0x24) << "neither on nor off";
    cdb[2] = 0xFF;
    cdb[9] = 1;
    EXPECT_EQ(board.execute(cdb, 16, nullptr, 0)->status, 2) << "stray byte";
    const uint8_t secondGeneration[16] = {0xF1, 0x41, 0x00, 0x00};
    EXPECT_FALSE(board.execute(secondGeneration, 16, nullptr, 0).has_value()) << "left to the disk";
    EXPECT_TRUE(dut.hidden());
}

// Cold boot and a cold CPU reset through the tool are checked by
// SystemPowerTest; here the writes that must not power the platform off.
TEST(PlatformPower, AlarmIsArmedOnlyWithBothEnables) {
    for (bool aie : {false, true})
        for (bool rtcEn : {false, true}) {
            PlatformPower platform;
            Cmos cmos;
            cmos.registers[0x0B] = aie ? 0x22 : 0x02;
            platform.write(0x1800, rtcEn ? 0x04000000 : 0, std::ref(cmos));
            platform.write(0x1804, 0x3C01, std::ref(cmos));
            auto taken = platform.takeTransitions();
            ASSERT_EQ(taken.size(), 1u);
            EXPECT_EQ(taken[0].details["alarmArmed"], aie && rtcEn) << aie << rtcEn;
        }
}

TEST(PlatformPower, OtherPm1WritesAndAWarmResetDoNotPowerOff) {
    PlatformPower platform;
    Cmos cmos;
    platform.write(0x1804, 0x1C01, std::ref(cmos));  // S5 type without SLP_EN
    EXPECT_TRUE(platform.takeTransitions().empty());
    EXPECT_EQ(platform.read(0x1804), 0x1C01u);
    platform.write(0x1804, 0x3401, std::ref(cmos));  // SLP_EN with sleep type 5
    auto taken = platform.takeTransitions();
    ASSERT_EQ(taken.size(), 1u);
    EXPECT_NE(taken[0].event, "S5");
    EXPECT_EQ(taken[0].effect, PowerTransition::Effect::None);

    platform.write(0xCF9, 0x02, std::ref(cmos));
    EXPECT_TRUE(platform.takeTransitions().empty()) << "armed, not fired";
    platform.write(0xCF9, 0x06, std::ref(cmos));
    auto warm = platform.takeTransitions();
    ASSERT_EQ(warm.size(), 1u);
    EXPECT_EQ(warm[0].details["reset"], "warm");
    EXPECT_EQ(warm[0].effect, PowerTransition::Effect::None);
    EXPECT_EQ(platform.read(0xCF9), 0u) << "the register resets with the platform";
}
