#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "smart/SmartData.h"
#include "smart/SmartLayout.h"
#include "smart/VariableLimit.h"

namespace zel {

// The readings of one run; previous and initial only when bin files gave them.
struct SmartReadings {
    SmartReading current;
    std::optional<SmartReading> previous;
    std::optional<SmartReading> initial;
};

// One attribute judged: its bytes in the three readings, the limit it was
// checked against and the answer. Texts are made from this by SmartRender.
struct SmartVerdict {
    SmartBytes current;                  // empty when the reading had nothing
    std::optional<SmartBytes> previous;  // when that reading was given
    std::optional<SmartBytes> initial;
    std::string limit;                   // after the special variables
    bool conflict = false;
    bool skipped = false;  // an all-0xFF reference: not judged, not marked

    bool changed() const { return previous && *previous != current; }
};

struct SmartVerdicts {
    std::vector<SmartVerdict> attributes;         // one per field
    std::vector<std::string> warnings;            // WARNING lines, in order
    std::optional<uint64_t> powerOnCheckTime;     // store into "last_pwr_on_hr"

    bool noConflict() const;
};

// Every field against its limit, in order: the special limit first (only
// its "check" lets the limit run), then the limit against the previous
// reading; the initial reading is never compared.
SmartVerdicts judgeReadings(const SmartLayout& layout, const SmartReadings& readings,
                            const RegistryLookup& registry, uint64_t nowMs);

// Whether any field can conflict: a written limit, or a special variable
// that makes one ($gsd, $ugsd, $pwrcycle, $pwronhr). Without one a run
// compares nothing and always passes.
bool checksAnyAttribute(const SmartLayout& layout);

// Unsigned value of up to the first 8 bytes, little-endian (the ini files).
uint64_t unsignedValue(const SmartBytes& bytes);

}  // namespace zel
