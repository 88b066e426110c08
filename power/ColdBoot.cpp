#include "power/ColdBoot.h"

#include <ctime>

#include "core/Logger.h"
#include "disk/PortIoDriver.h"
#include "power/PowerRegisters.h"

namespace zel {
namespace {

using namespace powerreg;

// Port reads and writes of the sequence go to the driver only while it is
// open. A read that fails or is skipped leaves `value` as it was: the
// sequence goes on with the value it last held.
class SequencePorts {
public:
    explicit SequencePorts(PortIoDriver& driver) : driver_(driver) {}

    void read(uint16_t port, uint8_t size) {
        uint32_t read = 0;
        if (driver_.isOpen() && driver_.readPort(port, &read, size)) value = read;
    }
    void write(uint16_t port, uint8_t size) {
        if (driver_.isOpen()) driver_.writePort(port, value, size);
    }

    uint32_t value = 0;

private:
    PortIoDriver& driver_;
};

void armRtcAlarm(PortIoDriver& driver, const RtcAlarmPlan& plan) {
    driver.writeCmos(kRtcAlarmSeconds, plan.bcdSeconds);
    driver.writeCmos(kRtcAlarmMinutes, plan.bcdMinutes);
    driver.writeCmos(kRtcAlarmHours, plan.bcdHours);
    uint8_t statusB = 0;
    uint8_t pending = 0;
    driver.readCmos(kRtcStatusC, &pending);  // reading C clears the RTC's pending flags
    driver.readCmos(kRtcStatusB, &statusB);
    statusB = withAlarmInterruptEnabled(statusB);
    printStatus("Write CMOS 0x70/0x71 0xB/%X, enable alarm interrupt\n", statusB);
    driver.writeCmos(kRtcStatusB, statusB);
}

void enterS5(SequencePorts& ports) {
    ports.read(kSlaveMaskPort, 1);
    ports.value = withRtcUnmasked(static_cast<uint8_t>(ports.value));
    printStatus("Write IO 0xA1 %X, unmask RTC interrupt\n", ports.value);
    ports.write(kSlaveMaskPort, 1);

    ports.read(kMasterMaskPort, 1);
    ports.value = withCascadeUnmasked(static_cast<uint8_t>(ports.value));
    printStatus("Write IO 0x21 %X, unmask master to slave\n", ports.value);
    ports.write(kMasterMaskPort, 1);

    ports.read(kPm1StatusEnablePort, 4);
    ports.value = withRtcWakeEnabled(ports.value);
    printStatus("Write IO %X %X, clear RTC_STS and set RTC_EN\n", kPm1StatusEnablePort, ports.value);
    ports.write(kPm1StatusEnablePort, 4);

    ports.read(kPm1ControlPort, 4);
    ports.value = withS5Sleep(ports.value);
    printStatus("Write IO %X %X, set PM1_CNT S5\n", kPm1ControlPort, ports.value);
    ports.write(kPm1ControlPort, 4);  // the platform goes down here
}

}  // namespace

ErrorCode runColdBoot(int delaySeconds, const TimeOfDay& now) {
    logInfo("Entering S5...");
    const RtcAlarmPlan plan = planRtcAlarm(now, delaySeconds);
    printStatus("now curr=%d, hr=%d, min=%d, sec=%d\n", plan.now, now.hours, now.minutes, now.seconds);
    printStatus("alarmtime1=%d\n", plan.unwrapped);
    printStatus("Alarm hr=%d, min=%d, sec=%d\n", plan.at.hours, plan.at.minutes, plan.at.seconds);
    printStatus("Alarm BCD hr=%X, min=%X, sec=%X\n", plan.bcdHours, plan.bcdMinutes, plan.bcdSeconds);
    PortIoDriver& driver = PortIoDriver::instance();
    driver.open();
    armRtcAlarm(driver, plan);
    SequencePorts ports(driver);
    enterS5(ports);
    // The answer stays 0 as it always was; the line tells what it means.
    if (!driver.isOpen())
        logWarning("The port-I/O driver is not loaded: nothing was written, the host does not go down");
    else
        logInfo("Still running after the S5 write");
    return 0;
}

ErrorCode runColdBoot(int delaySeconds) {
    const std::time_t seconds = std::time(nullptr);
    std::tm local{};
    localtime_s(&local, &seconds);
    return runColdBoot(delaySeconds, TimeOfDay{local.tm_hour, local.tm_min, local.tm_sec});
}

}  // namespace zel
