#include "app/OptionReader.h"

#include <cstdio>
#include <cstdlib>

#include "app/OptionTable.h"

#include "core/ErrorCodes.h"
#include "core/Logger.h"
#include "core/NumberText.h"
#include "core/SafeSave.h"
#include "core/TextFormat.h"

namespace zel {

std::string describe(const OptionProblem& problem) {
    const char* option = problem.option.c_str();
    const char* value = problem.value.c_str();
    switch (problem.kind) {
    case OptionProblem::Kind::NamesDevice:
        return formatText("[ZelCli] --%s names a device, not a file: \"%s\"", option, value);
    case OptionProblem::Kind::OutOfRange:
        return formatText("[ZelCli] --%s does not fit in 16 bits (0 to 65535): \"%s\"", option, value);
    case OptionProblem::Kind::PathTooLong:
        return formatText("[ZelCli] --%s gives a result file path of %zu characters, more than %zu: \"%s\"", option,
                          problem.length, kMaxResultPathLength, value);
    case OptionProblem::Kind::StrayWords:
        return formatText("[ZelCli] Words that no option takes: %s", value);
    case OptionProblem::Kind::NotANumber:
        break;
    }
    return formatText("[ZelCli] --%s is not a valid number: \"%s\"", problem.option.c_str(), problem.value.c_str());
}

void reportOptionProblem(const OptionProblem& problem) {
    Logger::instance().warning(describe(problem));
    setLastError(err::kWrongArguments);
}

namespace {

// A reader naming an option the table lacks is a bug of this program: it
// stops at once rather than read a default that is not there.
const std::string& tableDefault(const char* name) {
    const OptionRow* row = findOption(name);
    if (!row) {
        std::fprintf(stderr, "internal error: option --%s is not in the option table\n", name);
        std::abort();
    }
    return row->defaultValue;
}

std::vector<std::string> splitList(const std::string& value) {
    std::vector<std::string> items;
    size_t begin = 0;
    while (begin <= value.size()) {
        size_t end = value.find(',', begin);
        if (end == std::string::npos) end = value.size();
        if (end > begin) items.push_back(value.substr(begin, end - begin));
        begin = end + 1;
    }
    return items;
}

}  // namespace

std::string OptionReader::text(const char* name) const { return args_.text(name, tableDefault(name)); }

std::vector<std::string> OptionReader::list(const char* name) const { return splitList(text(name)); }

int32_t OptionReader::decimal(const char* name) {
    int32_t fallback = 0;
    readDecimal32(tableDefault(name), &fallback);
    if (!args_.has(name)) return fallback;
    int32_t value = 0;
    if (readDecimal32(args_.text(name), &value)) return value;
    refuse(name);
    return fallback;
}

uint64_t OptionReader::number(const char* name, uint64_t maximum) {
    uint64_t fallback = 0;
    readNumber(tableDefault(name), &fallback);
    if (!args_.has(name)) return fallback;
    uint64_t value = 0;
    return readNumberText(name, args_.text(name), maximum, &value) ? value : fallback;
}

std::vector<uint32_t> OptionReader::numberList(const char* name, uint32_t maximum) {
    std::vector<uint32_t> numbers;
    for (const std::string& item : list(name)) {
        uint64_t value = 0;
        if (!readNumberText(name, item, maximum, &value)) return {};
        numbers.push_back(static_cast<uint32_t>(value));
    }
    return numbers;
}

double OptionReader::amount(const char* name) {
    double fallback = 0;
    readAmount(tableDefault(name), &fallback);
    if (!args_.has(name)) return fallback;
    double value = 0;
    if (readAmount(args_.text(name), &value)) return value;
    refuse(name);
    return fallback;
}

DiskSelector OptionReader::diskSelector() {
    return DiskSelector{decimal("diskid"), text("diskmodel"), text("disksn"), text("diskpattern")};
}

bool OptionReader::readNumberText(const char* name, const std::string& text, uint64_t maximum, uint64_t* value) {
    if (readNumber(text, value) && *value <= maximum) return true;
    refuse(name);
    return false;
}

void OptionReader::refuse(const char* name) {
    if (!problem_) problem_ = OptionProblem{OptionProblem::Kind::NotANumber, name, args_.text(name)};
}

}  // namespace zel
