#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "core/IniFile.h"
#include "core/Uncopyable.h"
#include "smart/SmartCompare.h"
#include "smart/SmartLayout.h"
#include "smart/SmartPages.h"

namespace zel {

// Reads a SMART configuration for one protocol and turns device data into
// readings; what follows (verdicts, texts, files) goes through the
// protocol-neutral layout the configuration gives.
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
    // Whether the drive's own threshold verdict is left unasked.
    virtual bool skipThresholdStatus() const { return false; }

    const SmartLayout& layout() const { return layout_; }
    size_t attributeCount() const { return layout_.fields.size(); }

    // Judges the readings, logs the warnings, keeps the power-on check
    // time in the registry, and prints the table to the log and, when
    // outLog is not empty, to that file.
    SmartVerdicts compareAndPrint(const SmartReadings& readings, const std::string& outLog) const;
    // Every attribute's current value, unsigned, in its section and key.
    void writeIni(const SmartReading& current, IniFile& ini) const;

    // Values of HKLM\SOFTWARE\ZEL\smart by name (64-bit view, then 32-bit).
    static RegistryLookup registry();

protected:
    // A lookup over the file's values, empty text reading as absent.
    static IniLookup profileLookup(const IniFile& file);

    SmartLayout layout_;
};

}  // namespace zel
