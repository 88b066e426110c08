#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace zel {
namespace vhost {

// Parses text in the tool's number syntax ("0x1F", "1Fh", "101b", "4k",
// "2g", decimal) strictly: no sign, no stray characters, no wrap past 64
// bits. False with the problem otherwise.
bool parseUnsignedText(const std::string& text, uint64_t* value, std::string* problem);

// Typed reads of hand-written JSON (host descriptions, the state folder)
// that note each problem, named by its key, instead of throwing; a value
// with a problem reads as its fallback.
class JsonReader {
public:
    using json = nlohmann::json;

    bool ok() const { return problems_.empty(); }
    const std::vector<std::string>& problems() const { return problems_; }
    void fail(const std::string& where, const std::string& what) { problems_.push_back(where + ": " + what); }

    // A JSON number or number text, at most max.
    uint64_t number(const json& object, const std::string& key, uint64_t fallback, const std::string& where,
                    uint64_t max = std::numeric_limits<uint64_t>::max());
    bool number(const json& value, const std::string& where, uint64_t max, uint64_t* out);

    // A number that fits the unsigned field type T.
    template <typename T>
    T field(const json& object, const std::string& key, T fallback, const std::string& where) {
        return static_cast<T>(number(object, key, fallback, where, std::numeric_limits<T>::max()));
    }

    std::string text(const json& object, const std::string& key, const std::string& fallback,
                     const std::string& where);
    bool flag(const json& object, const std::string& key, bool fallback, const std::string& where);
    // Hex bytes, white space ignored: "01 02 ff".
    std::vector<uint8_t> bytes(const json& value, const std::string& where);
    const json* array(const json& parent, const std::string& key, const std::string& where);
    const json* object(const json& parent, const std::string& key, const std::string& where);
    // The value itself when it is an object; null after noting the problem.
    const json* asObject(const json& value, const std::string& where);

private:
    std::vector<std::string> problems_;
};

}  // namespace vhost
}  // namespace zel
