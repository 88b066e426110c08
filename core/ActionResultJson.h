#pragma once

#include <mutex>
#include <string>

#include <nlohmann/json.hpp>

#include "core/Uncopyable.h"

namespace zel {

using Json = nlohmann::ordered_json;

// The JSON result file. The first caller fixes its path; an existing file is
// loaded at creation, a missing one starts an empty document.
class ActionResultJson : private Uncopyable {
public:
    static ActionResultJson& instance(const std::string& path = "");

    const std::string& path() const { return path_; }
    bool loaded() const { return loaded_; }
    Json& document() { return document_; }

    // Writes the document to the path; false when the file cannot be written.
    bool save() const;

private:
    explicit ActionResultJson(const std::string& path);

    std::string path_;
    bool loaded_ = false;
    Json document_;
};

}  // namespace zel
