#include "smart/SmartCompare.h"

#include <algorithm>
#include <iterator>

#include "core/TextFormat.h"
#include "smart/ValueText.h"

namespace zel {

namespace {

constexpr size_t kMarkWidth = 2;

struct Row {
    std::string cells[6];  // mark, id, current, previous, initial, description
};

std::string pad(const std::string& text, size_t width) {
    return text.size() >= width ? text + " " : text + std::string(width - text.size(), ' ');
}

std::string renderTable(const std::string& title, const std::string& idHeading, const std::vector<Row>& rows,
                        size_t width) {
    const Row heading{{"", idHeading, "Curr Value", "Prev Value", "Init Value", "Description"}};
    std::string text = title + "\n";
    auto line = [&](const Row& r) {
        std::string l = pad(r.cells[0], kMarkWidth);
        for (int c = 1; c < 5; ++c) l += pad(r.cells[c], width);
        l += r.cells[5];
        while (!l.empty() && l.back() == ' ') l.pop_back();
        text += l + "\n";
    };
    line(heading);
    for (const Row& r : rows) line(r);
    return text;
}

struct Verdict {
    bool conflict = false;
    bool skipped = false;  // an all-0xFF reference: the attribute is not judged
    std::string limit;
};

// Special limit first (only its "check" lets the limit run), then the limit
// against the previous reading; the initial reading is never compared.
Verdict judge(const AttrConfig& attr, const SmartBytes& current, const SmartBytes& reference,
              const RegistryLookup& registry, uint64_t nowMs, const AttributeLookup& lookup, SmartComparison* out) {
    Verdict v{false, false, attr.limit};
    if (attr.firstCode() != kSpecialNone) {
        SpecialLimitResult special = applySpecialLimit(attr.firstCode(), attr.limit, current, reference, registry, nowMs);
        if (!special.warning.empty()) out->warnings.push_back(special.warning);
        if (special.powerOnCheckTime) out->powerOnCheckTime = special.powerOnCheckTime;
        v.limit = special.limit;
        v.skipped = special.answer == kSpecialSkip;
        if (special.answer != kSpecialCheck) return v;
    }
    v.conflict = checkLimit(v.limit, attr.isString, LimitReading{current, reference, lookup}) == kLimitConflict;
    return v;
}

const SmartBytes kNone;

const SmartBytes& at(const std::optional<SmartReading>& reading, size_t i) {
    return reading && i < reading->size() ? (*reading)[i] : kNone;
}

template <typename Config, typename Text>
Row rowFor(const Config& config, const SmartReadings& r, size_t i, const std::string& label, Text text) {
    Row row;
    row.cells[1] = label;
    row.cells[2] = text(at(std::optional<SmartReading>(r.current), i));
    if (r.previous) row.cells[3] = text(at(r.previous, i));
    if (r.initial) row.cells[4] = text(at(r.initial, i));
    row.cells[5] = config.attributes[i].description;
    return row;
}

// A skipped attribute gets no mark at all: its reference holds no reading,
// so "changed" would say nothing.
void markRow(Row* row, const Verdict& v, const SmartReadings& r, size_t i) {
    if (v.skipped) return;
    if (v.conflict)
        row->cells[0] = "*";
    else if (r.previous && at(r.previous, i) != r.current[i])
        row->cells[0] = "-";
}

void finish(SmartComparison* out, const std::string& conflictList) {
    if (conflictList.empty()) return;
    out->noConflict = false;
    out->table += "SMART Value Conflicts:\n" + conflictList;
}

}  // namespace

SmartComparison compareSata(const SataConfig& config, const SmartReadings& readings, const RegistryLookup& registry,
                            uint64_t nowMs, size_t width) {
    SmartComparison out;
    const size_t n = config.attributes.size();
    SmartReadings r = readings;
    r.current.resize(n);
    // "#N": the first configured attribute with id N.
    AttributeLookup lookup = [&](uint32_t id) -> const SmartBytes* {
        for (size_t i = 0; i < n; ++i)
            if (config.attributes[i].slice.id == id) return &r.current[i];
        return nullptr;
    };
    std::vector<Row> rows;
    std::string conflicts;
    for (size_t i = 0; i < n; ++i) {
        const SataAttrConfig& a = config.attributes[i];
        Row row = rowFor(config, r, i, sataLabel(a.slice, config.includeReservedByte),
                         [&](const SmartBytes& b) { return sataValueText(b, a.slice, config.numberBase); });
        const Verdict v = judge(a, r.current[i], at(r.previous, i), registry, nowMs, lookup, &out);
        markRow(&row, v, r, i);
        if (v.conflict) conflicts += sataConflictLine(a.slice, v.limit);
        out.effectiveLimits.push_back(v.limit);
        out.conflicts.push_back(v.conflict);
        out.rows.emplace_back(std::begin(row.cells), std::end(row.cells));
        rows.push_back(row);
    }
    out.table = renderTable("===== SATA SMART Data =====", "ID", rows, width);
    finish(&out, conflicts);
    return out;
}

SmartComparison compareNvme(const NvmeConfig& config, const SmartReadings& readings, const RegistryLookup& registry,
                            uint64_t nowMs, size_t width) {
    SmartComparison out;
    const size_t n = config.attributes.size();
    SmartReadings r = readings;
    r.current.resize(n);
    // "#N": the first attribute configured in slot N.
    AttributeLookup lookup = [&](uint32_t index) -> const SmartBytes* {
        for (size_t i = 0; i < n; ++i)
            if (config.attributes[i].index == static_cast<int32_t>(index)) return &r.current[i];
        return nullptr;
    };
    out.effectiveLimits.resize(n);
    out.conflicts.resize(n);
    out.rows.resize(n);
    std::string conflicts;
    for (size_t p = 0; p < config.logPages.size(); ++p) {
        const LogPageConfig& page = config.logPages[p];
        const size_t last = p + 1 < config.logPages.size() ? config.logPages[p + 1].firstAttribute : n;
        std::vector<Row> rows;
        for (size_t i = page.firstAttribute; i < last && i < n; ++i) {
            const NvmeAttrConfig& a = config.attributes[i];
            Row row = rowFor(config, r, i, nvmeLabel(a.range), [&](const SmartBytes& b) {
                return nvmeValueText(b, config.numberBase, a.isString, a.firstCode());
            });
            const Verdict v = judge(a, r.current[i], at(r.previous, i), registry, nowMs, lookup, &out);
            markRow(&row, v, r, i);
            if (v.conflict) conflicts += nvmeConflictLine(page.logPageId, a.range, v.limit);
            out.effectiveLimits[i] = v.limit;
            out.conflicts[i] = v.conflict;
            out.rows[i].assign(std::begin(row.cells), std::end(row.cells));
            rows.push_back(row);
        }
        out.table += renderTable(formatText("===== NVMe Log Page 0x%X Data =====", page.logPageId), "Offset", rows,
                                 width);
    }
    finish(&out, conflicts);
    return out;
}

std::vector<std::string> sataCsvHeadings(const SataConfig& config) {
    std::vector<std::string> cells{"time"};
    for (const auto& a : config.attributes)
        cells.push_back(sataCsvHeading(a.description, a.slice, config.includeReservedByte));
    return cells;
}

std::vector<std::string> nvmeCsvHeadings(const NvmeConfig& config) {
    std::vector<std::string> cells{"time"};
    for (const auto& a : config.attributes) cells.push_back(nvmeCsvHeading(a.logPageId, a.range, a.description));
    return cells;
}

std::vector<std::string> sataCsvRow(const SataConfig& config, const SmartReading& reading, const std::string& time) {
    std::vector<std::string> cells{time};
    for (size_t i = 0; i < config.attributes.size(); ++i)
        cells.push_back(sataValueText(i < reading.size() ? reading[i] : kNone, config.attributes[i].slice,
                                      config.numberBase));
    return cells;
}

std::vector<std::string> nvmeCsvRow(const NvmeConfig& config, const SmartReading& reading, const std::string& time) {
    std::vector<std::string> cells{time};
    for (size_t i = 0; i < config.attributes.size(); ++i) {
        const NvmeAttrConfig& a = config.attributes[i];
        cells.push_back(nvmeValueText(i < reading.size() ? reading[i] : kNone, config.numberBase, a.isString,
                                      a.firstCode()));
    }
    return cells;
}

std::string csvLine(const std::vector<std::string>& cells) {
    std::string line;
    for (size_t i = 0; i < cells.size(); ++i) {
        if (i) line += ",";
        const std::string& c = cells[i];
        if (c.find_first_of(",\"\r\n") == std::string::npos) {
            line += c;
            continue;
        }
        line += "\"";
        for (char ch : c) line += ch == '"' ? std::string("\"\"") : std::string(1, ch);
        line += "\"";
    }
    return line + "\n";
}

uint64_t unsignedValue(const SmartBytes& bytes) {
    uint64_t v = 0;
    const size_t n = std::min<size_t>(bytes.size(), 8);
    for (size_t i = n; i-- > 0;) v = (v << 8) | bytes[i];
    return v;
}

}  // namespace zel
