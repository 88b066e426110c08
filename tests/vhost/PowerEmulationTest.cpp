// What a power cut does to an emulated drive and the platform's power
// registers, without the Windows layer. The gsd and ugsd
// flows (flush and standby, completed NVMe notification, unflushed writes
// lost) are checked by PowerEndToEnd; here the cases no flow produces.
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "tests/support/TempDir.h"
#include "vhost/AtaDevice.h"
#include "vhost/NvmeRegisters.h"
#include "vhost/PlatformPower.h"
#include "vhost/VirtualDisk.h"

using namespace zel::vhost;

namespace {

// w/u: write (u with forced unit access) of `count` sectors of `fill` at
// `lba`; a: the ATA command in `lba`; n: an NVMe shutdown notification;
// c: the power cut and back; C: the same by a later host from the same state
// folder, as the next run of the tool makes it.
struct Step {
    char op;
    uint64_t lba = 0, count = 0;
    uint8_t fill = 0;
};

struct Rig {
    Rig(const char* cache, const char* interfaceName, uint32_t attempts) : state(folder.path()) {
        description.deviceInterface = interfaceName;
        description.capacityBytes = 64 * 512;
        description.writeCache = cache;
        description.shutdownAttempts = attempts;
        disk = std::make_unique<VirtualDisk>(description, state);
    }
    void run(const Step& s) {
        std::vector<uint8_t> data(s.count * 512, s.fill);
        AtaTaskFile taskFile;
        taskFile.command = static_cast<uint8_t>(s.lba);
        switch (s.op) {
            case 'w': case 'u': disk->writeMedia(s.lba * 512, data.data(), data.size(), nullptr, s.op == 'u'); break;
            case 'a': disk->ata()->execute(taskFile, nullptr, 0); break;
            case 'n': disk->writeControllerRegister(NvmeRegisters::kCc, NvmeRegisters::kResetCc | 0x4000); break;
            case 'c': disk->cutPower(), disk->restorePower(); break;
            case 'C': {
                VirtualDisk later(description, state);
                later.cutPower();
                later.restorePower();
            }
        }
    }
    std::vector<uint8_t> firstBytes(uint64_t sectors) {  // of each sector
        std::vector<uint8_t> data(sectors * 512), firsts;
        EXPECT_EQ(disk->readMedia(0, data.data(), data.size()), VirtualDisk::MediaResult::Ok);
        for (uint64_t i = 0; i < sectors; ++i) firsts.push_back(data[i * 512]);
        return firsts;
    }

    zeltest::TempDir folder;
    HostState state;
    DiskDescription description;
    std::unique_ptr<VirtualDisk> disk;
};

}  // namespace

TEST(PowerEmulation, WhatACutKeepsFollowsTheCacheAndWhatTheDriveWasTold) {
    struct Case {
        const char* what;
        const char* cache;
        const char* interfaceName;
        uint32_t attempts;
        std::vector<Step> steps;
        std::vector<uint8_t> firsts;
        uint64_t unsafe;
    } cases[] = {
        {"flushed and forced writes survive", "volatile", "ata", 1,
         {{'w', 0, 4, 0x11}, {'a', 0xEA}, {'w', 2, 4, 0x22}, {'u', 8, 2, 0x33}, {'c'}},
         {0x11, 0x11, 0x11, 0x11, 0, 0, 0, 0, 0x33, 0x33}, 1},
        {"standby alone is unsafe", "none", "ata", 1, {{'a', 0xE0}, {'c'}}, {0}, 1},
        {"a write after the standby is unsafe, and durable without a cache", "none", "ata", 1,
         {{'a', 0xE7}, {'a', 0xE0}, {'w', 0, 1, 0x55}, {'c'}}, {0x55}, 1},
        {"a torn cache keeps odd sectors", "torn", "ata", 1, {{'w', 0, 6, 0x66}, {'C'}}, {0, 0x66, 0, 0x66, 0, 0x66}, 1},
        {"a notification still processing is unsafe", "volatile", "nvme", 2, {{'w', 0, 1, 0x77}, {'n'}, {'c'}}, {0}, 1},
        {"the notification completes on the described attempt and flushes", "volatile", "nvme", 2,
         {{'w', 0, 1, 0x77}, {'n'}, {'n'}, {'c'}}, {0x77}, 0},
        {"0 attempts never complete", "none", "nvme", 0, {{'n'}, {'n'}, {'n'}, {'c'}}, {0}, 1},
    };
    for (const Case& c : cases) {
        Rig rig(c.cache, c.interfaceName, c.attempts);
        for (const Step& step : c.steps) rig.run(step);
        EXPECT_EQ(rig.firstBytes(c.firsts.size()), c.firsts) << c.what;
        EXPECT_EQ(rig.disk->counters().unsafeShutdowns, c.unsafe) << c.what;
    }
}

// Cold boot and a cold CPU reset through the tool are pinned write for
// write by SystemPowerTest; here the writes that must not power the
// platform off.
TEST(PlatformPower, OnlySlpEnWithS5PowersOff) {
    PlatformPower platform;
    auto cmos = [](uint8_t) -> uint8_t { return 0; };
    platform.write(0x1804, 0x1C01, cmos);  // S5 type without SLP_EN
    platform.write(0x1804, 0x3401, cmos);  // SLP_EN with sleep type 5
    platform.write(0xCF9, 0x02, cmos);     // a reset armed, not fired
    platform.write(0xCF9, 0x06, cmos);
    auto taken = platform.takeTransitions();
    ASSERT_EQ(taken.size(), 2u);
    EXPECT_NE(taken[0].event, "S5");
    EXPECT_EQ(taken[1].details["reset"], "warm");
    for (const auto& t : taken) EXPECT_EQ(t.effect, PowerTransition::Effect::None) << t.event;
    EXPECT_EQ(platform.read(0xCF9), 0u) << "the register resets with the platform";
}
