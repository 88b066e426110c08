#include "smart/SmartExport.h"

#include "smart/SmartRender.h"

namespace zel {
namespace {

Json attributeJson(const SmartField& field, const SmartVerdict& verdict) {
    Json a = Json::object();
    if (field.logPageId >= 0) a["log_page"] = field.logPageId;
    a["id"] = field.label;
    a["description"] = field.attribute.description;
    a["limit"] = verdict.limit;
    a["current"] = currentText(field, verdict);
    a["previous"] = previousText(field, verdict);
    a["initial"] = initialText(field, verdict);
    a["value"] = verdict.current.empty() ? Json() : Json(unsignedValue(verdict.current));
    a["mark"] = verdictMark(verdict);
    return a;
}

}  // namespace

Json smartInfoJson(const SmartLayout& layout, const SmartVerdicts& verdicts, const std::string& time) {
    Json info = Json::object();
    info["protocol"] = layout.protocol;
    info["time"] = time;
    info["result"] = verdicts.noConflict() ? "pass" : "conflict";
    Json attributes = Json::array();
    for (size_t i = 0; i < layout.fields.size(); ++i)
        attributes.push_back(attributeJson(layout.fields[i], verdicts.attributes[i]));
    info["attributes"] = attributes;
    return info;
}

}  // namespace zel
