#include "core/Paths.h"

#include <cctype>

#include "core/Logger.h"

namespace zel {

bool isAbsolutePath(const std::string& path) {
    if (path.empty()) return false;
    if (path[0] == '\\' || path[0] == '/') return true;
    return path.size() >= 2 && std::isalpha(static_cast<unsigned char>(path[0])) && path[1] == ':';
}

std::string resolveOutputPath(const std::string& path) {
    const std::string& dir = Logger::instance().directory();
    if (path.empty() || isAbsolutePath(path) || dir.empty()) return path;
    return dir + path;
}

std::string parentFolder(const std::string& path) {
    size_t cut = path.find_last_of("\\/");
    return cut == std::string::npos ? std::string() : path.substr(0, cut);
}

}  // namespace zel
