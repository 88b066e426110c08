#include "power/D3HotCycle.h"

#include <chrono>
#include <thread>

#include "core/Clock.h"
#include "core/Logger.h"
#include "disk/PortIoDriver.h"
#include "power/OwnPciFunction.h"
#include "power/PowerRegisters.h"

namespace zel {
namespace {

using namespace powerreg;

// A function needs 10 ms after leaving or entering D3hot before it is
// accessed again (PCI power management, recovery time).
constexpr auto kRecoveryTime = std::chrono::milliseconds(10);

ErrorCode fail() {
    setLastError(err::kD3Hot);
    return err::kD3Hot;
}

// Writes the power state and reads it back.
bool setPowerState(const PcieInfo& pci, uint32_t pmcsr, uint32_t state, const char* name) {
    PortIoDriver& driver = PortIoDriver::instance();
    const uint32_t offset = pci.pmCapOffset + kPmcsr;
    const uint32_t value = withPowerState(pmcsr, state);
    logInfo("Write PCI %02X:%02X.%X 0x%X %X, set %s", pci.bus, pci.device, pci.function, offset, value, name);
    if (!driver.writePciConfig(pci.bus, pci.device, pci.function, offset, value)) return false;
    std::this_thread::sleep_for(kRecoveryTime);
    uint32_t readBack = 0;
    if (!driver.readPciConfig(pci.bus, pci.device, pci.function, offset, &readBack)) return false;
    if (powerState(readBack) == state) return true;
    logWarning("PCI %02X:%02X.%X power state D%u, expected %s", pci.bus, pci.device, pci.function,
               powerState(readBack), name);
    return false;
}

}  // namespace

ErrorCode runD3HotCycle(const DiskBase& disk, double dwellSeconds) {
    logInfo("Entering D3hot...");
    // Only the function read now for this disk: a carried-over view may
    // name another controller.
    const std::optional<PcieInfo> pci = readOwnPciFunction(disk);
    if (!pci || pci->pmCapOffset == 0) {
        logWarning("No PCI power management capability on disk %d", disk.number());
        return fail();
    }
    PortIoDriver& driver = PortIoDriver::instance();
    uint32_t pmcsr = 0;
    if (!driver.readPciConfig(pci->bus, pci->device, pci->function, pci->pmCapOffset + kPmcsr, &pmcsr))
        return fail();
    if (!setPowerState(*pci, pmcsr, kD3Hot, "D3hot")) return fail();
    const uint64_t start = nowMilliseconds();
    std::this_thread::sleep_for(std::chrono::duration<double>(dwellSeconds));
    if (!setPowerState(*pci, pmcsr, kD0, "D0")) return fail();
    logInfo("Back to D0 after %.2f seconds", secondsSince(start));
    return 0;
}

}  // namespace zel
