#include "smart/SmartDataParser.h"

#include <sstream>

#include "core/Clock.h"
#include "core/DeviceApi.h"
#include "core/Logger.h"
#include "core/SafeSave.h"
#include "core/TextFormat.h"
#include "core/WinReg.h"
#include "smart/VariableLimit.h"

namespace zel {
namespace {

constexpr size_t kOutLogColumnWidth = 16;

void logTable(const std::string& table) {
    std::istringstream lines(table);
    std::string line;
    while (std::getline(lines, line)) logInfo("%s", line.c_str());
}

}  // namespace

RegistryLookup SmartDataParser::registry() {
    return [](const std::string& name) { return WinReg::readText(kSmartRegistryKey, name); };
}

IniLookup SmartDataParser::profileLookup(const IniFile& file) {
    return [&file](const std::string& section, const std::string& key) -> std::optional<std::string> {
        const std::string value = file.readText(section, key);
        if (trim(value).empty()) return std::nullopt;
        return value;
    };
}

bool SmartDataParser::compareAndPrint(const SmartReadings& readings, const std::string& outLog,
                                      SmartComparison* result) const {
    *result = compare(readings, hostClockMilliseconds(), kOutLogColumnWidth);
    for (const std::string& warning : result->warnings) logWarning("%s", warning.c_str());
    if (result->powerOnCheckTime)
        WinReg::writeText(kSmartRegistryKey, kRegLastPowerOnHr, std::to_string(*result->powerOnCheckTime));
    logTable(result->table);
    if (!outLog.empty()) {
        if (!saveFileWhole(outLog, result->table)) logWarning("Failed to output SMART table to %s", outLog.c_str());
    }
    return result->noConflict;
}

}  // namespace zel
