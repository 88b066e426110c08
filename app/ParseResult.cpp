#include "app/ParseResult.h"

#include "core/NumberText.h"

namespace zel {

const std::string* ParseResult::find(const std::string& name) const {
    for (const auto& entry : values_)
        if (entry.first == name) return &entry.second;
    return nullptr;
}

bool ParseResult::has(const std::string& name) const { return find(name) != nullptr; }

std::string ParseResult::text(const std::string& name, const std::string& defaultValue) const {
    const std::string* value = find(name);
    return value ? *value : defaultValue;
}

int32_t ParseResult::integer(const std::string& name, int32_t defaultValue) const {
    const std::string* value = find(name);
    return value ? parseDecimal32(*value) : defaultValue;
}

}  // namespace zel
