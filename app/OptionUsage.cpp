#include "app/OptionUsage.h"

#include <vector>

#include "app/OptionTable.h"

namespace zel {
namespace {

const char kNumberSyntax[] =
    "Numbers: decimal, 0x1F or 1Fh (hexadecimal), 101b (binary), 4k, 2m, 1g (times 2^10, 2^20, 2^30).\n";

// The column of the help texts; a longer option spills onto a line of its own.
constexpr size_t kTextColumn = 34;

// Where the table gives no label, the kind of value names it.
std::string labelOf(const OptionRow& row) {
    if (!row.label.empty() || row.kind == OptionKind::Flag) return row.label;
    switch (row.kind) {
    case OptionKind::Decimal:
    case OptionKind::Number: return "number";
    case OptionKind::Amount: return "amount";
    case OptionKind::List: return "list";
    case OptionKind::InPath:
    case OptionKind::OutPath:
    case OptionKind::HerePath: return "path";
    default: return "text";
    }
}

std::string optionColumn(const OptionRow& row) {
    std::string text = "  " + (row.shortName.empty() ? "" : "-" + row.shortName + ", ") + "--" + row.name;
    const std::string label = labelOf(row);
    return label.empty() ? text : text + " " + label;
}

std::string notes(const OptionRow& row) {
    std::string text;
    if (!row.unit.empty()) text = "unit: " + row.unit;
    if (!row.defaultValue.empty()) text += (text.empty() ? "" : "; ") + std::string("default: ") + row.defaultValue;
    return text.empty() ? "" : " (" + text + ")";
}

std::string usageLine(const OptionRow& row) {
    std::string line = optionColumn(row);
    line += line.size() < kTextColumn ? std::string(kTextColumn - line.size(), ' ')
                                      : "\n" + std::string(kTextColumn, ' ');
    return line + row.description.substr(0, row.description.find('\n')) + notes(row) + "\n";
}

}  // namespace

std::string usageActionNames() {
    std::string names;
    for (const std::string& action : actionNames()) names += (names.empty() ? "" : ", ") + action;
    return names;
}

std::string usageText(const std::string& action) {
    const std::vector<std::string> names = optionsOfAction(action);
    if (names.empty()) return "";
    std::string text = "Options that -a " + action + " reads, in help order:\n";
    bool numbers = false;
    for (const std::string& name : names) {
        const OptionRow& row = *findOption(name);
        numbers = numbers || row.kind == OptionKind::Number || row.kind == OptionKind::List;
        text += usageLine(row);
    }
    if (numbers) text += kNumberSyntax;
    return text;
}

}  // namespace zel
