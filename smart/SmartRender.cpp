#include "smart/SmartRender.h"

#include "smart/ValueText.h"

namespace zel {
namespace {

constexpr size_t kMarkWidth = 2;

std::string pad(const std::string& text, size_t width) {
    return text.size() >= width ? text + " " : text + std::string(width - text.size(), ' ');
}

// Mark, id, current, previous, initial, description; trailing blanks dropped.
std::string tableLine(const std::string (&cells)[6], size_t width) {
    std::string line = pad(cells[0], kMarkWidth);
    for (int c = 1; c < 5; ++c) line += pad(cells[c], width);
    line += cells[5];
    while (!line.empty() && line.back() == ' ') line.pop_back();
    return line + "\n";
}

std::string renderGroup(const SmartLayout& layout, const SmartTableGroup& group, const SmartVerdicts& verdicts,
                        size_t width) {
    std::string text = group.title + "\n";
    text += tableLine({"", layout.idHeading, "Curr Value", "Prev Value", "Init Value", "Description"}, width);
    for (size_t i = group.first; i < group.end; ++i) {
        const SmartField& f = layout.fields[i];
        const SmartVerdict& v = verdicts.attributes[i];
        text += tableLine({verdictMark(v), f.label, currentText(f, v), previousText(f, v), initialText(f, v),
                           f.attribute.description},
                          width);
    }
    return text;
}

}  // namespace

std::string verdictMark(const SmartVerdict& verdict) {
    if (verdict.skipped) return "";
    if (verdict.conflict) return "*";
    return verdict.changed() ? "-" : "";
}

std::string currentText(const SmartField& field, const SmartVerdict& verdict) {
    return field.valueText(verdict.current);
}

std::string previousText(const SmartField& field, const SmartVerdict& verdict) {
    return verdict.previous ? field.valueText(*verdict.previous) : "";
}

std::string initialText(const SmartField& field, const SmartVerdict& verdict) {
    return verdict.initial ? field.valueText(*verdict.initial) : "";
}

std::string renderSmartTable(const SmartLayout& layout, const SmartVerdicts& verdicts, size_t width) {
    std::string text;
    for (const SmartTableGroup& group : layout.tables) text += renderGroup(layout, group, verdicts, width);
    std::string conflicts;
    for (size_t i = 0; i < layout.fields.size(); ++i)
        if (verdicts.attributes[i].conflict)
            conflicts += conflictLine(layout.fields[i].conflictId, verdicts.attributes[i].limit);
    if (!conflicts.empty()) text += "SMART Value Conflicts:\n" + conflicts;
    return text;
}

std::vector<std::string> smartCsvHeadings(const SmartLayout& layout) {
    std::vector<std::string> cells{"time"};
    for (const SmartField& f : layout.fields) cells.push_back(f.csvHeading);
    return cells;
}

std::vector<std::string> smartCsvRow(const SmartLayout& layout, const SmartReading& reading,
                                     const std::string& time) {
    std::vector<std::string> cells{time};
    for (size_t i = 0; i < layout.fields.size(); ++i)
        cells.push_back(layout.fields[i].valueText(i < reading.size() ? reading[i] : SmartBytes{}));
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

}  // namespace zel
