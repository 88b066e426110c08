#include "smart/SmartDataParser.h"

#include <sstream>

#include "core/Clock.h"
#include "core/DeviceApi.h"
#include "core/Logger.h"
#include "core/SafeSave.h"
#include "core/TextFormat.h"
#include "core/WinReg.h"
#include "smart/SmartRender.h"
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

SmartVerdicts SmartDataParser::compareAndPrint(const SmartReadings& readings, const std::string& outLog) const {
    const SmartVerdicts verdicts = judgeReadings(layout_, readings, registry(), hostClockMilliseconds());
    for (const std::string& warning : verdicts.warnings) logWarning("%s", warning.c_str());
    if (verdicts.powerOnCheckTime)
        WinReg::writeText(kSmartRegistryKey, kRegLastPowerOnHr, std::to_string(*verdicts.powerOnCheckTime));
    const std::string table = renderSmartTable(layout_, verdicts, kOutLogColumnWidth);
    logTable(table);
    if (!outLog.empty()) {
        if (!saveFileWhole(outLog, table)) logWarning("Failed to output SMART table to %s", outLog.c_str());
    }
    return verdicts;
}

void SmartDataParser::writeIni(const SmartReading& current, IniFile& ini) const {
    for (size_t i = 0; i < layout_.fields.size(); ++i) {
        const uint64_t value = i < current.size() ? unsignedValue(current[i]) : 0;
        ini.writeText(layout_.fields[i].iniSection, layout_.fields[i].iniKey, std::to_string(value));
    }
}

}  // namespace zel
