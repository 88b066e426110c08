#include "core/ActionResultJson.h"

#include <fstream>

namespace zel {

ActionResultJson& ActionResultJson::instance(const std::string& path) {
    static ActionResultJson result(path);
    return result;
}

ActionResultJson::ActionResultJson(const std::string& path) : path_(path), document_(Json::object()) {
    if (path_.empty()) return;
    std::ifstream in(path_);
    if (!in) return;
    in >> document_;
    loaded_ = true;
}

bool ActionResultJson::save() const {
    if (path_.empty()) return false;
    std::ofstream out(path_, std::ios::out | std::ios::trunc);
    if (!out) return false;
    out << document_.dump(4) << '\n';
    return static_cast<bool>(out);
}

}  // namespace zel
