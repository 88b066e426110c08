#pragma once

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace zel {
namespace vhost {

// power-events.log in the state folder: one JSON object per line, one line
// per power transition, appended as it happens so that a later run or a
// test sees what earlier runs did. It keeps the most recent lines only.
class PowerEventLog {
public:
    explicit PowerEventLog(std::string folder) : folder_(std::move(folder)) {}

    void append(const nlohmann::ordered_json& event);
    // The lines this host appended, oldest first.
    const std::vector<std::string>& lines() const { return lines_; }

private:
    std::string folder_;
    std::vector<std::string> lines_;
};

// The file is cut to its last kPowerLogKept lines when it reaches kPowerLogLimit.
constexpr size_t kPowerLogLimit = 1024;
constexpr size_t kPowerLogKept = 512;

}  // namespace vhost
}  // namespace zel
