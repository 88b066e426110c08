#include <gtest/gtest.h>

#include <windows.h>

#include <atomic>

#include "core/ErrorCodes.h"
#include "disk/DiskKinds.h"
#include "power/ShutdownNotification.h"
#include "tests/power/PowerTestHost.h"
#include "tests/support/LogCapture.h"

namespace {

// The virtual host with a controller that misbehaves on demand: CSTS shows
// shutdown processing (SHST 1) for its first reads, CC keeps SHN at 10b,
// or the first CC read hangs. A CC read that does not verify a CC write
// opens an attempt.
class ScriptedController : public zel::vhost::VirtualHost {
public:
    using VirtualHost::VirtualHost;

    int processingReads = 0;
    bool ccSticksAbrupt = false;
    bool hangFirstRead = false;
    std::atomic<int> attempts{0};

    bool readPhysicalDword(uint64_t address, uint32_t* value) override {
        const uint32_t offset = static_cast<uint32_t>(address & 0xFFF);
        if (offset == 0x14 && !afterWrite_) ++attempts;
        afterWrite_ = false;
        if (offset == 0x14 && hangFirstRead && calls_++ == 0) Sleep(30000);  // holds no lock of the host
        if (!VirtualHost::readPhysicalDword(address, value)) return false;
        if (offset == 0x14 && ccSticksAbrupt) *value = (*value & ~0xC000u) | 0x8000u;
        if (offset == 0x1C && processingReads > 0) {
            --processingReads;
            *value = (*value & ~0xCu) | 0x4u;
        }
        return true;
    }
    bool writePhysicalDword(uint64_t address, uint32_t value) override {
        if ((address & 0xFFF) == 0x14) afterWrite_ = true;
        return VirtualHost::writePhysicalDword(address, value);
    }

private:
    std::atomic<bool> afterWrite_{false};
    std::atomic<int> calls_{0};
};

class ShutdownNotification : public testing::Test {
protected:
    void SetUp() override {
        zeltest::freshRun();
        std::string problem;
        ASSERT_TRUE(zel::vhost::parseHostDescription(zeltest::powerHost(), &description_, &problem)) << problem;
        host_ = std::make_unique<ScriptedController>(description_);
        previous_ = zel::replaceDeviceApi(host_.get());
    }
    void TearDown() override {
        zeltest::freshRun();
        zel::replaceDeviceApi(previous_);
    }

    zel::ErrorCode notifyDisk(int number) {
        zel::DiskBase* disk = zeltest::builtDisk(number);
        EXPECT_NE(disk, nullptr);
        return disk ? zel::notifyNvmeShutdown(*disk) : 0xFFFFFFFF;
    }

    zel::vhost::HostDescription description_;
    std::unique_ptr<ScriptedController> host_;
    zel::DeviceApi* previous_ = nullptr;
};

size_t count(const std::string& text, const std::string& piece) {
    size_t n = 0;
    for (size_t at = text.find(piece); at != std::string::npos; at = text.find(piece, at + 1)) ++n;
    return n;
}

}  // namespace

TEST_F(ShutdownNotification, CompletesOnTheFirstAttemptWithEveryLine) {
    zeltest::LogCapture log;
    EXPECT_EQ(notifyDisk(2), 0u);
    const std::string text = log.text();
    // Disk 2's BAR0 as the host places it: 0xC0200000.
    const char* lines[] = {
        "INFO     Set shutdown notification to NVMe drive.",
        "DEBUG    retryNotifyShutdown() read CC at 0xC0200014",
        "DEBUG    retryNotifyShutdown() CC=460001",
        "DEBUG    retryNotifyShutdown() write CC=464001",
        "DEBUG    retryNotifyShutdown() verify CC=464001",
        "DEBUG    retryNotifyShutdown() read CSTS at 0xC0200000+0x1C",
        "INFO     SHST=2, complete? 1",
    };
    size_t at = 0;
    for (const char* line : lines) {
        const size_t found = text.find(line, at);
        EXPECT_NE(found, std::string::npos) << line << "\n" << text;
        if (found != std::string::npos) at = found;
    }
    EXPECT_EQ(host_->attempts.load(), 1);
}

TEST_F(ShutdownNotification, SucceedsOnTheThirdAttempt) {
    host_->processingReads = 2;
    zeltest::LogCapture log;
    EXPECT_EQ(notifyDisk(1), 0u);
    EXPECT_EQ(host_->attempts.load(), 3);
    EXPECT_EQ(count(log.text(), "SHST=1, complete? 0"), 2u);
    EXPECT_EQ(count(log.text(), "SHST=2, complete? 1"), 1u);
    EXPECT_FALSE(log.contains("Failed to set shutdown notification"));
}

TEST_F(ShutdownNotification, GivesUpAfterTenAttemptsWhenShnDoesNotStick) {
    host_->ccSticksAbrupt = true;
    zeltest::LogCapture log;
    EXPECT_EQ(notifyDisk(1), zel::err::kPowerCycleFlow);
    EXPECT_EQ(zel::lastError(), zel::err::kPowerCycleFlow);
    EXPECT_EQ(host_->attempts.load(), 10);
    EXPECT_EQ(count(log.text(), "retryNotifyShutdown() verify CC=468001"), 10u);
    EXPECT_FALSE(log.contains("SHST=")) << "a failed verify ends the attempt before CSTS";
    EXPECT_TRUE(log.contains("WARNING  Failed to set shutdown notification"));
}

// A controller that never reports the shutdown complete is not left
// shutting down while it keeps its power: CC gets the value read before.
TEST_F(ShutdownNotification, UnfinishedShutdownIsTakenBack) {
    host_->processingReads = 1000;
    zeltest::LogCapture log;
    EXPECT_EQ(notifyDisk(1), zel::err::kPowerCycleFlow);
    EXPECT_EQ(count(log.text(), "SHST=1, complete? 0"), 10u);
    uint32_t cc = 0;
    ASSERT_TRUE(host_->VirtualHost::readPhysicalDword(0xC0100014, &cc));
    EXPECT_EQ(cc, 0x460001u);
    EXPECT_TRUE(log.contains("WARNING  Restored CC=460001 of disk 1 after the failed shutdown notification"))
        << log.text();
}

TEST_F(ShutdownNotification, HungAttemptIsCutOffAndTheNextOneRuns) {
    host_->hangFirstRead = true;
    zeltest::LogCapture log;
    EXPECT_EQ(notifyDisk(1), 0u);
    EXPECT_EQ(host_->attempts.load(), 2);
    EXPECT_EQ(count(log.text(), "Set shutdown notification to NVMe drive."), 2u);
    EXPECT_EQ(count(log.text(), "SHST=2, complete? 1"), 1u);
}

// Only the BAR0 read from the disk's own function is written: a PCIe view
// carried over from elsewhere (here disk 2's) is not.
TEST_F(ShutdownNotification, OnlyTheDisksOwnControllerIsNotified) {
    EXPECT_EQ(notifyDisk(0), zel::err::kFunctionNotSupported);
    zel::DiskIdentity identity;
    identity.number = 5;
    identity.kind = zel::diskkind::kNvme;
    zel::NvmeSsd unplaced(identity);
    zel::PcieInfo elsewhere;
    elsewhere.bar0 = 0xC0200000;
    unplaced.setPcieInfo(elsewhere);
    zeltest::LogCapture log;
    EXPECT_EQ(zel::notifyNvmeShutdown(unplaced), zel::err::kPowerCycleFlow);
    EXPECT_TRUE(log.contains("WARNING  Cannot notify the NVMe controller of disk 5: its PCI function cannot be read"))
        << log.text();
    EXPECT_FALSE(log.contains("Set shutdown notification"));
    uint32_t cc = 0;
    ASSERT_TRUE(host_->VirtualHost::readPhysicalDword(0xC0200014, &cc));
    EXPECT_EQ(cc, 0x460001u) << "disk 2's controller untouched";
}
