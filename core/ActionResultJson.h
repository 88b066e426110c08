#pragma once

#include <functional>
#include <mutex>
#include <string>

#include <nlohmann/json.hpp>

#include "core/Uncopyable.h"

namespace zel {

using Json = nlohmann::ordered_json;

// The JSON result file. The first caller fixes its path; an existing file is
// loaded at creation, a missing one starts an empty document.
//
// Other runs may share the file (one --commfile for several steps), so a
// save never writes the document loaded at start-up back as it is: under the
// file's lock it reads the file again, applies this run's change to that
// freshest document and replaces the file whole (core/SafeSave.h).
class ActionResultJson : private Uncopyable {
public:
    static ActionResultJson& instance(const std::string& path = "");

    const std::string& path() const { return path_; }
    bool loaded() const { return loaded_; }
    Json& document() { return document_; }

    // Applies the change to the freshest file's document and saves it; the
    // held document becomes that result. False (reported) when the file
    // cannot be written.
    bool update(const std::function<void(Json&)>& change);

    // Saves the changes made to document() since the last load or save,
    // merged into the freshest file (objects key by key, other values whole).
    bool save();

private:
    explicit ActionResultJson(const std::string& path);

    std::string path_;
    bool loaded_ = false;
    Json document_;
    Json saved_;  // the document as last read or written
    std::mutex mutex_;
};

}  // namespace zel
