#include "host/PlatformInfoCollector.h"

#include <cstring>

#include "core/Logger.h"
#include "core/WinReg.h"

namespace zel {
namespace {

const char kBiosKey[] = "HARDWARE\\DESCRIPTION\\System\\BIOS";
const char kProcessorKey[] = "HARDWARE\\DESCRIPTION\\System\\CentralProcessor\\0";

bool readField(const char* name, char (&field)[64]) {
    auto value = WinReg::readText(kBiosKey, name);
    if (!value) return false;
    std::strncpy(field, value->c_str(), sizeof(field) - 1);
    field[sizeof(field) - 1] = '\0';
    return true;
}

}  // namespace

bool PlatformInfoCollector::collect() {
    bool ok = readField("BaseBoardManufacturer", info_.baseBoardManufacturer);
    ok = readField("BaseBoardProduct", info_.baseBoardProduct) && ok;
    ok = readField("BaseBoardVersion", info_.baseBoardVersion) && ok;
    ok = readField("BIOSReleaseDate", info_.biosReleaseDate) && ok;
    ok = readField("BIOSVendor", info_.biosVendor) && ok;
    ok = readField("BIOSVersion", info_.biosVersion) && ok;
    auto processor = WinReg::readText(kProcessorKey, "ProcessorNameString");
    info_.processorType = processorTypeFromName(processor.value_or(""));
    return ok && processor.has_value();
}

void PlatformInfoCollector::print() const {
    logInfo("***** Platform Information *****");
    logInfo("  BaseBoardManufacturer: %s", info_.baseBoardManufacturer);
    logInfo("  BaseBoardProduct: %s", info_.baseBoardProduct);
    logInfo("  BaseBoardVersion: %s", info_.baseBoardVersion);
    logInfo("  BIOSReleaseDate: %s", info_.biosReleaseDate);
    logInfo("  BIOSVendor: %s", info_.biosVendor);
    logInfo("  BIOSVersion: %s", info_.biosVersion);
    // An AMD processor is told apart but printed as Unknown, as it always was.
    logInfo("  Processor Type: %s", info_.processorType == kProcessorIntel ? "INTEL" : "Unknown");
}

}  // namespace zel
