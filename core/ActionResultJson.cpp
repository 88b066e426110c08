#include "core/ActionResultJson.h"

#include <fstream>

#include "core/SafeSave.h"

namespace zel {
namespace {

// A merge patch that turns `before` into `after`: objects key by key (null
// removes a key), anything else replaced whole.
Json changesBetween(const Json& before, const Json& after) {
    if (!before.is_object() || !after.is_object()) return after;
    Json patch = Json::object();
    for (const auto& [key, value] : after.items()) {
        if (!before.contains(key))
            patch[key] = value;
        else if (before[key] != value)
            patch[key] = changesBetween(before[key], value);
    }
    for (const auto& [key, value] : before.items())
        if (!after.contains(key)) patch[key] = nullptr;
    return patch;
}

}  // namespace

ActionResultJson& ActionResultJson::instance(const std::string& path) {
    static ActionResultJson result(path);
    return result;
}

ActionResultJson::ActionResultJson(const std::string& path) : path_(path), document_(Json::object()) {
    if (!path_.empty()) {
        std::ifstream in(path_);
        if (in) {
            in >> document_;
            loaded_ = true;
        }
    }
    saved_ = document_;
}

bool ActionResultJson::update(const std::function<void(Json&)>& change) {
    std::lock_guard<std::mutex> hold(mutex_);
    if (path_.empty()) return false;
    const bool saved = updateFileWhole(path_, [&](std::string* text) {
        Json fresh = text->empty() ? Json::object() : Json::parse(*text);
        change(fresh);
        document_ = fresh;
        *text = fresh.dump(4) + '\n';
    });
    if (saved) saved_ = document_;
    return saved;
}

bool ActionResultJson::save() {
    const Json patch = changesBetween(saved_, document_);
    return update([&patch](Json& fresh) { fresh.merge_patch(patch); });
}

}  // namespace zel
