#include "smart/SmartCompare.h"

#include <algorithm>

namespace zel {
namespace {

const SmartBytes kNone;

const SmartBytes& at(const SmartReading& reading, size_t i) { return i < reading.size() ? reading[i] : kNone; }

std::optional<SmartBytes> at(const std::optional<SmartReading>& reading, size_t i) {
    if (!reading) return std::nullopt;
    return at(*reading, i);
}

void judge(const SmartField& field, const RegistryLookup& registry, uint64_t nowMs, const AttributeLookup& lookup,
           SmartVerdict* v, SmartVerdicts* out) {
    const AttrConfig& attr = field.attribute;
    const SmartBytes& reference = v->previous ? *v->previous : kNone;
    v->limit = attr.limit;
    if (attr.firstCode() != kSpecialNone) {
        SpecialLimitResult special = applySpecialLimit(attr.firstCode(), attr.limit, v->current, reference, registry,
                                                       nowMs);
        if (!special.warning.empty()) out->warnings.push_back(special.warning);
        if (special.powerOnCheckTime) out->powerOnCheckTime = special.powerOnCheckTime;
        v->limit = special.limit;
        v->skipped = special.answer == kSpecialSkip;
        if (special.answer != kSpecialCheck) return;
    }
    v->conflict = checkLimit(v->limit, attr.isString, LimitReading{v->current, reference, lookup}) == kLimitConflict;
}

}  // namespace

bool SmartVerdicts::noConflict() const {
    return std::none_of(attributes.begin(), attributes.end(), [](const SmartVerdict& v) { return v.conflict; });
}

bool checksAnyAttribute(const SmartLayout& layout) {
    return std::any_of(layout.fields.begin(), layout.fields.end(), [](const SmartField& field) {
        const uint8_t code = field.attribute.firstCode();
        return !field.attribute.limit.empty() || (code >= kSpecialGsd && code <= kSpecialPowerOnHours);
    });
}

SmartVerdicts judgeReadings(const SmartLayout& layout, const SmartReadings& readings,
                            const RegistryLookup& registry, uint64_t nowMs) {
    SmartVerdicts out;
    const size_t n = layout.fields.size();
    out.attributes.resize(n);
    for (size_t i = 0; i < n; ++i) {
        SmartVerdict& v = out.attributes[i];
        v.current = at(readings.current, i);
        v.previous = at(readings.previous, i);
        v.initial = at(readings.initial, i);
    }
    // "#N": the first field it names, in the current reading.
    const AttributeLookup lookup = [&](uint32_t id) -> const SmartBytes* {
        for (size_t i = 0; i < n; ++i)
            if (layout.fields[i].lookupId == id) return &out.attributes[i].current;
        return nullptr;
    };
    for (size_t i = 0; i < n; ++i) judge(layout.fields[i], registry, nowMs, lookup, &out.attributes[i], &out);
    return out;
}

uint64_t unsignedValue(const SmartBytes& bytes) {
    uint64_t v = 0;
    const size_t n = std::min<size_t>(bytes.size(), 8);
    for (size_t i = n; i-- > 0;) v = (v << 8) | bytes[i];
    return v;
}

}  // namespace zel
