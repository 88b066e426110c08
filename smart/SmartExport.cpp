#include "smart/SmartExport.h"

namespace zel {
namespace {

enum Cell { kMark, kLabel, kCurrent, kPrevious, kInitial, kDescription };

Json attributeJson(const SmartComparison& comparison, size_t i, const SmartReading& current, int32_t pageId) {
    const std::vector<std::string>& row = comparison.rows[i];
    Json a = Json::object();
    if (pageId >= 0) a["log_page"] = pageId;
    a["id"] = row[kLabel];
    a["description"] = row[kDescription];
    a["limit"] = comparison.effectiveLimits[i];
    a["current"] = row[kCurrent];
    a["previous"] = row[kPrevious];
    a["initial"] = row[kInitial];
    a["value"] = i < current.size() && !current[i].empty() ? Json(unsignedValue(current[i])) : Json();
    a["mark"] = row[kMark];
    return a;
}

}  // namespace

Json smartInfoJson(const std::string& protocol, const std::string& time, const SmartComparison& comparison,
                   const SmartReading& current, const std::vector<int32_t>& pageIds) {
    Json info = Json::object();
    info["protocol"] = protocol;
    info["time"] = time;
    info["result"] = comparison.noConflict ? "pass" : "conflict";
    Json attributes = Json::array();
    for (size_t i = 0; i < comparison.rows.size(); ++i)
        attributes.push_back(attributeJson(comparison, i, current, i < pageIds.size() ? pageIds[i] : -1));
    info["attributes"] = attributes;
    return info;
}

}  // namespace zel
