// The power paths against the virtual host in this process: the NVMe
// shutdown notification with a controller that misbehaves on demand, and
// the system controls' port writes at times a run cannot choose.
#include <gtest/gtest.h>

#include <windows.h>

#include <atomic>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "core/ErrorCodes.h"
#include "core/ProcessSwitches.h"
#include "core/TextFormat.h"
#include "disk/DiskList.h"
#include "disk/PortIoDriver.h"
#include "power/ColdBoot.h"
#include "power/ShutdownNotification.h"
#include "tests/support/LogCapture.h"
#include "vhost/VirtualHost.h"

namespace {

// A SATA disk (0) and an NVMe disk on its own PCI function (1 on bus 2).
const char kPowerHost[] = R"({"disks": [
  {"number": 0, "busType": 11, "model": "Power SATA", "serial": "PS0", "sectorCount": 2048},
  {"number": 1, "busType": 17, "model": "Power NVMe A", "serial": "PN1", "sectorCount": 2048,
   "driver": {"provider": "Microsoft"}, "pci": {"vendorId": "0x1AB2", "deviceId": "0x0101", "bus": 2}}]})";

// The process-wide disk list and port-I/O driver as a fresh run has them.
void freshRun() {
    zel::DiskList::instance().reset();
    zel::DiskList::instance().useConfiguration({});
    zel::PortIoDriver::instance().closeAndRemove();
    zel::processSwitches().nvmeProtocol = 0;
}

// The virtual host with a controller that misbehaves on demand: CSTS shows
// shutdown processing (SHST 1) for its first reads, CC keeps SHN at 10b,
// or the first CC read hangs. A CC read that does not verify a CC write
// opens an attempt. Port writes are kept as "PORT=VALUE" texts.
class ScriptedController : public zel::vhost::VirtualHost {
public:
    using VirtualHost::VirtualHost;

    int processingReads = 0;
    bool ccSticksAbrupt = false, hangFirstRead = false;
    std::atomic<int> attempts{0};
    std::vector<std::string> portWrites;

    bool readPhysicalDword(uint64_t address, uint32_t* value) override {
        const uint32_t offset = static_cast<uint32_t>(address & 0xFFF);
        if (offset == 0x14 && !afterWrite_) ++attempts;
        afterWrite_ = false;
        if (offset == 0x14 && hangFirstRead && calls_++ == 0) Sleep(30000);  // holds no lock of the host
        if (!VirtualHost::readPhysicalDword(address, value)) return false;
        if (offset == 0x14 && ccSticksAbrupt) *value = (*value & ~0xC000u) | 0x8000u;
        if (offset == 0x1C && processingReads-- > 0) *value = (*value & ~0xCu) | 0x4u;
        return true;
    }
    bool writePhysicalDword(uint64_t address, uint32_t value) override {
        if ((address & 0xFFF) == 0x14) afterWrite_ = true;
        return VirtualHost::writePhysicalDword(address, value);
    }
    bool writePort(uint16_t port, uint32_t value, uint8_t size) override {
        const bool written = VirtualHost::writePort(port, value, size);
        if (written) portWrites.push_back(zel::formatText("%X=%X", port, value));
        return written;
    }

private:
    std::atomic<bool> afterWrite_{false};
    std::atomic<int> calls_{0};
};

class PowerOnVirtualHost : public testing::Test {
protected:
    void SetUp() override { freshHost(); }
    void TearDown() override {
        freshRun();
        zel::replaceDeviceApi(previous_);
    }
    // A new host for each case: a notification leaves its mark in CC.
    void freshHost() {
        freshRun();
        zel::vhost::HostDescription description;
        std::string problem;
        ASSERT_TRUE(zel::vhost::parseHostDescription(kPowerHost, &description, &problem)) << problem;
        auto next = std::make_unique<ScriptedController>(description);
        zel::DeviceApi* replaced = zel::replaceDeviceApi(next.get());
        if (!host_) previous_ = replaced;
        host_ = std::move(next);
    }
    zel::ErrorCode notifyDisk(int number) {
        zel::DiskBase* disk = zel::DiskList::instance().get(true).findDisk(zel::DiskSelector::byNumber(number));
        EXPECT_NE(disk, nullptr);
        return disk ? zel::notifyNvmeShutdown(*disk) : 0xFFFFFFFF;
    }
    // The port writes since the last call.
    std::vector<std::string> portWrites() { return std::exchange(host_->portWrites, {}); }

    std::unique_ptr<ScriptedController> host_;
    zel::DeviceApi* previous_ = nullptr;
};

size_t count(const std::string& text, const std::string& piece) {
    size_t n = 0;
    for (size_t at = text.find(piece); at != std::string::npos; at = text.find(piece, at + 1)) ++n;
    return n;
}

}  // namespace

// A controller that never reports the shutdown complete is not left
// shutting down while it keeps its power: CC gets the value read before.
TEST_F(PowerOnVirtualHost, ShutdownNotificationRetriesUntilCompleteOrGivesUpAndTakesItBack) {
    using Lines = std::vector<std::pair<const char*, size_t>>;  // each line and how often it is logged
    // What the controller does, its misbehaviour as scripted, the code, the attempts made and the log.
    const std::tuple<const char*, int, bool, bool, zel::ErrorCode, int, Lines> cases[] = {
        {"complete at the third attempt", 2, false, false, 0, 3,
         {{"SHST=1, complete? 0", 2}, {"SHST=2, complete? 1", 1}, {"Failed to set shutdown notification", 0}}},
        {"SHN does not stick", 0, true, false, zel::err::kPowerCycleFlow, 10,
         {{"retryNotifyShutdown() verify CC=468001", 10},
          {"SHST=", 0},  // a failed verify ends the attempt before CSTS
          {"WARNING  Failed to set shutdown notification", 1}}},
        {"never complete", 1000, false, false, zel::err::kPowerCycleFlow, 10,
         {{"SHST=1, complete? 0", 10},
          {"WARNING  Restored CC=460001 of disk 1 after the failed shutdown notification", 1}}},
        {"first attempt hangs and is cut off", 0, false, true, 0, 2,
         {{"Set shutdown notification to NVMe drive.", 2}, {"SHST=2, complete? 1", 1}}},
    };
    EXPECT_EQ(notifyDisk(0), zel::err::kFunctionNotSupported) << "a SATA drive has no controller to notify";
    for (const auto& [what, processingReads, ccSticksAbrupt, hangFirstRead, code, attempts, lines] : cases) {
        SCOPED_TRACE(what);
        freshHost();
        host_->processingReads = processingReads;
        host_->ccSticksAbrupt = ccSticksAbrupt;
        host_->hangFirstRead = hangFirstRead;
        zeltest::LogCapture log;
        EXPECT_EQ(notifyDisk(1), code);
        EXPECT_EQ(code ? zel::lastError() : 0, code);
        EXPECT_EQ(host_->attempts.load(), attempts);
        for (const auto& [line, times] : lines) EXPECT_EQ(count(log.text(), line), times) << line;
        uint32_t cc = 0;
        ASSERT_TRUE(host_->VirtualHost::readPhysicalDword(0xC0100014, &cc));  // disk 1's CC
        EXPECT_TRUE(processingReads != 1000 || cc == 0x460001u) << "a controller that never finished gets CC back";
    }
}

// Every port write in order, for times a run cannot choose: the alarm past
// midnight, then the exact 86400 (hour 24) after a wake by the alarm, when
// RTC_STS (bit 10) reads set and is written back, which clears it. What the
// host makes of the writes is checked end to end.
TEST_F(PowerOnVirtualHost, ColdBootWritesTheRtcAlarmAndEntersS5) {
    using Case = std::tuple<zel::TimeOfDay, const char*, const char*, const char*, const char*>;  // port 71 and 1800
    const Case cases[] = {
        {{23, 59, 10}, "71=10", "71=0", "71=0", "1800=4000000"},
        {{23, 59, 0}, "71=0", "71=0", "71=24", "1800=4000400"},
    };
    for (const auto& [now, sec, min, hour, pm1] : cases) {
        SCOPED_TRACE(hour);
        portWrites();
        EXPECT_EQ(zel::runColdBoot(60, now), 0u);
        EXPECT_EQ(portWrites(), std::vector<std::string>({"70=1", sec, "70=3", min, "70=5", hour, "70=C", "70=B",
                                                          "70=B", "71=22", "A1=FE", "21=FB", pm1, "1804=3C01"}));
    }
    EXPECT_EQ(host_->powerEvents().size(), 2u);
}
