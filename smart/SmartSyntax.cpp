#include "smart/SmartSyntax.h"

#include "core/NumberText.h"
#include "core/TextFormat.h"

namespace zel {

NumberRange parseRange(const std::string& text) {
    std::string body = trim(text);
    if (!body.empty() && body.front() == '[') body.erase(0, 1);
    if (!body.empty() && body.back() == ']') body.pop_back();
    const size_t colon = body.find(':');
    NumberRange range;
    range.high = parseNumber(trim(body.substr(0, colon)));
    range.low = colon == std::string::npos ? range.high : parseNumber(trim(body.substr(colon + 1)));
    return range;
}

namespace {

uint8_t specialCode(const std::string& token) {
    static const struct {
        const char* name;
        SpecialCode code;
    } kVariables[] = {{"$gsd", kSpecialGsd},          {"$ugsd", kSpecialUgsd},   {"$pwrcycle", kSpecialPowerCycle},
                      {"$pwronhr", kSpecialPowerOnHours}, {"$bytime", kSpecialByTime}, {"$tempc", kSpecialTempC}};
    for (const auto& variable : kVariables)
        if (token == variable.name) return variable.code;
    return kSpecialNone;
}

}  // namespace

TypeField parseTypeField(const std::string& text) {
    TypeField field;
    const size_t comma = text.find(',');
    field.isString = trim(text.substr(0, comma)) == "string";
    const std::string tokens = comma == std::string::npos ? text : text.substr(comma + 1);
    size_t start = 0;
    for (;;) {
        const size_t next = tokens.find(',', start);
        field.codes.push_back(specialCode(trim(tokens.substr(start, next - start))));
        if (next == std::string::npos) break;
        start = next + 1;
    }
    return field;
}

SataSelector parseSataSelector(const std::string& text, bool includeReservedByte) {
    SataSelector selector;
    selector.end = includeReservedByte ? 7 : 6;
    const size_t bracket = text.find('[');
    selector.id = static_cast<uint8_t>(parseNumber(trim(text.substr(0, bracket))));
    if (bracket != std::string::npos) {
        const NumberRange range = parseRange(text.substr(bracket));
        selector.first = static_cast<uint8_t>(range.low);
        selector.end = static_cast<uint8_t>(static_cast<uint32_t>(range.high) + 1);
    }
    return selector;
}

NvmeSelector parseNvmeSelector(const std::string& text) {
    const NumberRange range = parseRange(text);
    return {static_cast<uint16_t>(range.low), static_cast<uint16_t>(static_cast<uint32_t>(range.high) + 1)};
}

}  // namespace zel
