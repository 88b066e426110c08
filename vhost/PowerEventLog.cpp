#include "vhost/PowerEventLog.h"

#include <filesystem>
#include <fstream>

namespace zel {
namespace vhost {
namespace {

std::vector<std::string> readLines(const std::string& path) {
    std::vector<std::string> lines;
    std::ifstream in(path);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

void keepLast(const std::string& path, std::vector<std::string> lines, size_t count) {
    lines.erase(lines.begin(), lines.end() - static_cast<std::ptrdiff_t>(count));
    {
        std::ofstream out(path + ".tmp", std::ios::trunc);
        for (const std::string& line : lines) out << line << '\n';
    }
    std::error_code ignored;
    std::filesystem::rename(path + ".tmp", path, ignored);
}

}  // namespace

void PowerEventLog::append(const nlohmann::ordered_json& event) {
    const std::string line = event.dump();
    lines_.push_back(line);
    if (folder_.empty()) return;
    std::error_code ignored;
    std::filesystem::create_directories(folder_, ignored);
    const std::string path = folder_ + "/power-events.log";
    std::vector<std::string> existing = readLines(path);
    if (existing.size() >= kPowerLogLimit) keepLast(path, std::move(existing), kPowerLogKept);
    std::ofstream(path, std::ios::app) << line << '\n';
}

}  // namespace vhost
}  // namespace zel
