// System power of the virtual host: the operating system's transitions
// (reboot, shutdown, sleep, hibernation) and the ones the port-I/O bench
// decodes from register writes (S5, CPU reset, D3hot). Each is recorded in
// power-events.log; the machine's own power is never touched.
#include "core/TextFormat.h"
#include "vhost/PortIoBench.h"
#include "vhost/VirtualHost.h"

namespace zel {
namespace vhost {

void VirtualHost::applyTransition(const PowerTransition& transition) {
    nlohmann::ordered_json line;
    line["time"] = state_.now();
    line["event"] = transition.event;
    for (auto& item : transition.details.items()) line[item.key()] = item.value();
    if (transition.effect != PowerTransition::Effect::None) {
        auto cycled = nlohmann::ordered_json::array(), unsafe = nlohmann::ordered_json::array();
        for (auto& disk : disks_) {
            if (disk->description().absent || disk->faults().has("absent") || !disk->counters().powered) continue;
            const bool abrupt = transition.effect == PowerTransition::Effect::UnsafeCycle &&
                                !portIoBench().shutdownNotified(disk->number());
            disk->countPowerCycle(abrupt ? PowerLoss::Unsafe : PowerLoss::Graceful);
            cycled.push_back(disk->number());
            if (abrupt) unsafe.push_back(disk->number());
        }
        line["powerCycled"] = cycled;
        line["unsafeShutdowns"] = unsafe;
        portIoBench().powerOnReset();
        state_.saveIfChanged();
    }
    powerLog_.append(line);
}

void VirtualHost::applyPortTransitions() {
    for (const PowerTransition& transition : portIoBench().takeTransitions()) applyTransition(transition);
}

BOOL VirtualHost::exitWindows(UINT flags, DWORD reason) {
    const LastErrorOnSuccess keep;
    std::lock_guard<std::recursive_mutex> guard(lock_);
    PowerTransition t;
    const bool reboot = flags & EWX_REBOOT;
    const bool down = reboot || (flags & (EWX_SHUTDOWN | EWX_POWEROFF));
    t.event = reboot ? "reboot" : down ? "shutdown" : "logoff";
    t.details["flags"] = formatText("0x%X", flags);
    t.details["reason"] = formatText("0x%08X", static_cast<unsigned>(reason));
    if (down) t.effect = PowerTransition::Effect::GracefulCycle;
    applyTransition(t);
    return keep(TRUE);
}

int VirtualHost::runShutdownCommand(const char* commandLine) {
    const LastErrorOnSuccess keep;
    std::lock_guard<std::recursive_mutex> guard(lock_);
    PowerTransition t;
    t.event = "shutdown";
    t.details["command"] = commandLine;
    t.effect = PowerTransition::Effect::GracefulCycle;
    applyTransition(t);
    keep(true);
    return 0;
}

BOOL VirtualHost::setWakeTimer(uint32_t seconds) {
    std::lock_guard<std::recursive_mutex> guard(lock_);
    wakeTimerSeconds_ = seconds;
    return TRUE;
}

BOOL VirtualHost::setSuspendState(BOOL hibernate, BOOL force, BOOL wakeEventsDisabled) {
    const LastErrorOnSuccess keep;
    std::lock_guard<std::recursive_mutex> guard(lock_);
    PowerTransition t;
    t.event = hibernate ? "S4" : "S3";
    if (wakeTimerSeconds_ >= 0)
        t.details["wakeTimerSeconds"] = wakeTimerSeconds_;
    else
        t.details["wakeTimerSeconds"] = nullptr;
    t.details["force"] = force != FALSE;
    t.details["wakeEventsDisabled"] = wakeEventsDisabled != FALSE;
    t.effect = PowerTransition::Effect::GracefulCycle;
    wakeTimerSeconds_ = -1;  // a timer fires once
    applyTransition(t);
    return keep(TRUE);
}

std::vector<std::string> VirtualHost::powerEvents() {
    std::lock_guard<std::recursive_mutex> guard(lock_);
    return powerLog_.lines();
}

}  // namespace vhost
}  // namespace zel
