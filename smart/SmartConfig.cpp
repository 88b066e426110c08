#include "smart/SmartConfig.h"

#include "core/ErrorCodes.h"
#include "core/Logger.h"
#include "core/NumberText.h"
#include "core/TextFormat.h"

namespace zel {
namespace {

// Beyond any attribute table or log page; keeps a stray attr_amount from
// turning into billions of key look-ups.
constexpr int32_t kMaxSlots = 65535;

class ConfigReader {
public:
    explicit ConfigReader(const IniLookup& ini) : ini_(ini) {}

    std::optional<std::string> text(const std::string& section, const std::string& key) const {
        std::optional<std::string> value = ini_ ? ini_(section, key) : std::nullopt;
        if (!value) return std::nullopt;
        if (value->size() > kSmartValueMax) value->resize(kSmartValueMax);
        return trim(*value);
    }
    std::string textOr(const std::string& section, const std::string& key) const {
        return text(section, key).value_or("");
    }
    // Integer keys in the number syntax, so log_page = 0xC0 reads as written.
    int32_t number(const std::string& section, const std::string& key, int32_t fallback) const {
        return parseNumber(textOr(section, key), fallback);
    }

private:
    const IniLookup& ini_;
};

std::vector<std::string> testSections(const ConfigReader& reader) {
    const std::string list = reader.textOr("global", "test_sections");
    std::vector<std::string> sections;
    if (list.empty()) return sections;
    size_t start = 0;
    for (;;) {
        const size_t next = list.find(',', start);
        sections.push_back(trim(list.substr(start, next - start)));
        if (next == std::string::npos) return sections;
        start = next + 1;
    }
}

bool fail(const char* warning) {
    logWarning("%s", warning);
    setLastError(err::kSmartParse);
    return false;
}

// The steps both protocols share; the hooks read what differs. Every
// section's protocol is checked before any attribute is read; then sections
// append their attributes in order, so a later section without attr_amount
// fails the parse but leaves the earlier sections' attributes in the list.
template <typename Attr, typename OnSection, typename OnSelector>
bool readSections(const ConfigReader& reader, const char* protocol, const char* wrongProtocol, OnSection onSection,
                  OnSelector onSelector, std::vector<Attr>* attributes) {
    const std::vector<std::string> sections = testSections(reader);
    for (const std::string& section : sections)
        if (reader.textOr(section, "protocol") != protocol) return fail(wrongProtocol);
    for (const std::string& section : sections) {
        const int32_t amount = reader.number(section, "attr_amount", -1);
        if (amount == -1) return fail("attr_amount is not found");
        onSection(section);
        if (amount > kMaxSlots)
            logWarning("[%s] attr_amount %d: only slots 1 to %d are read", section.c_str(), amount, kMaxSlots);
        for (int32_t n = 1; n <= amount && n <= kMaxSlots; ++n) {
            // An empty selector reads like an absent key through the profile calls.
            const std::string selector = reader.textOr(section, formatText("%s%d", "attr_id_", n));
            if (selector.empty()) continue;
            Attr attribute;
            attribute.index = n;
            onSelector(section, selector, &attribute);
            attribute.description = reader.textOr(section, formatText("%s%d", "attr_desc_", n));
            attribute.limit = reader.textOr(section, formatText("%s%d", "attr_limit_", n));
            TypeField type = parseTypeField(reader.textOr(section, formatText("%s%d", "attr_type_", n)));
            attribute.isString = type.isString;
            attribute.specialCodes = std::move(type.codes);
            attributes->push_back(std::move(attribute));
        }
    }
    return true;
}

}  // namespace

bool parseSataConfig(const IniLookup& ini, SataConfig* config) {
    const ConfigReader reader(ini);
    *config = SataConfig{};
    config->numberBase = reader.number("global", "number_base", 10);
    bool sectionReservedByte = false;
    const auto onSection = [&](const std::string& section) {
        // The parser's flags stay set once any section sets them; the
        // default slice follows the section's own setting.
        if (reader.number(section, "skip_2cf4", 0) != 0) config->skip2cf4 = true;
        sectionReservedByte = reader.number(section, "include_reserved_byte", 0) != 0;
        if (sectionReservedByte) config->includeReservedByte = true;
    };
    const auto onSelector = [&](const std::string&, const std::string& text, SataAttrConfig* attribute) {
        attribute->slice = parseSataSelector(text, sectionReservedByte);
    };
    return readSections(reader, "ata", "Assigned section is not for SATA", onSection, onSelector,
                        &config->attributes);
}

bool parseNvmeConfig(const IniLookup& ini, NvmeConfig* config) {
    const ConfigReader reader(ini);
    *config = NvmeConfig{};
    config->numberBase = reader.number("global", "number_base", 10);
    int32_t logPageId = 0;
    const auto onSection = [&](const std::string& section) {
        LogPageConfig page;
        page.firstAttribute = config->attributes.size();
        page.logPageId = logPageId = reader.number(section, "log_page", 0);
        page.size = static_cast<uint16_t>(reader.number(section, "log_page_size", 0));
        page.offset = static_cast<uint16_t>(reader.number(section, "log_page_offset", 0));
        config->logPages.push_back(page);
    };
    const auto onSelector = [&](const std::string&, const std::string& text, NvmeAttrConfig* attribute) {
        attribute->range = parseNvmeSelector(text);
        attribute->logPageId = logPageId;
    };
    return readSections(reader, "nvme", "Assigned section is not for NVMe", onSection, onSelector,
                        &config->attributes);
}

}  // namespace zel
