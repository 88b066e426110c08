#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "core/IniFile.h"
#include "core/Uncopyable.h"
#include "smart/SmartCompare.h"
#include "smart/SmartPages.h"

namespace zel {

// Reads a SMART configuration for one protocol, turns device data into
// readings and shows, checks and writes them. The limit language and the
// counters of HKLM\SOFTWARE\ZEL\smart are shared by both protocols.
class SmartDataParser : private Uncopyable {
public:
    virtual ~SmartDataParser() = default;

    // The configuration file through the private-profile calls; a missing
    // file is created empty, which yields no attributes and success.
    virtual bool parseConfig(const std::string& path) = 0;
    virtual SmartPagePlan planPages(const std::vector<uint32_t>& logIds,
                                    const std::vector<uint32_t>& sizes) const = 0;
    // Fills the attributes of one page in *reading (sized to the list).
    virtual bool parseData(const uint8_t* data, size_t size, int32_t logPageId, SmartReading* reading) const = 0;
    virtual SmartComparison compare(const SmartReadings& readings, uint64_t nowMs, size_t width) const = 0;
    virtual void writeIni(const SmartReading& current, IniFile& ini) const = 0;
    virtual std::vector<std::string> csvHeading() const = 0;
    virtual std::vector<std::string> csvRow(const SmartReading& reading, const std::string& time) const = 0;
    virtual const char* protocolName() const = 0;
    // The log page of every attribute, -1 where pages do not apply.
    virtual std::vector<int32_t> attributePages() const = 0;
    virtual size_t attributeCount() const = 0;
    // Whether the drive's own threshold verdict is left unasked.
    virtual bool skipThresholdStatus() const { return false; }

    // Checks the readings against the limits, logs the warnings, keeps the
    // power-on check time in the registry, and prints the table to the log
    // and, when outLog is not empty, to that file. True without a conflict.
    bool compareAndPrint(const SmartReadings& readings, const std::string& outLog, SmartComparison* result) const;

    // Values of HKLM\SOFTWARE\ZEL\smart by name (64-bit view, then 32-bit).
    static RegistryLookup registry();

protected:
    // A lookup over the file's values, empty text reading as absent.
    static IniLookup profileLookup(const IniFile& file);
};

}  // namespace zel
