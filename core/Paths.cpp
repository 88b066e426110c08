#include "core/Paths.h"

#include <cctype>
#include <filesystem>
#include <vector>

#include "core/Logger.h"
#include "core/TextFormat.h"

#ifdef _WIN32
#include <windows.h>
#endif

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

bool namesDevice(const std::string& path) {
    std::string p = path;
    for (char& c : p)
        if (c == '/') c = '\\';
    if (p.rfind("\\\\.\\", 0) == 0) return true;
    if (p.rfind("\\\\?\\", 0) != 0 && p.rfind("\\??\\", 0) != 0) return false;
    const std::string rest = p.substr(4);
    const bool driveFile = rest.size() >= 3 && std::isalpha(static_cast<unsigned char>(rest[0])) && rest[1] == ':' &&
                           rest[2] == '\\';
    const bool uncFile = toLower(rest.substr(0, 4)) == "unc\\";
    return !driveFile && !uncFile;
}

std::string absoluteForm(const std::string& path) {
#ifdef _WIN32
    std::vector<char> full(32768);
    const DWORD n = GetFullPathNameA(path.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr);
    if (n > 0 && n < full.size()) return std::string(full.data(), n);
    if (isAbsolutePath(path)) return path;
    const DWORD m = GetCurrentDirectoryA(static_cast<DWORD>(full.size()), full.data());
    std::string folder(full.data(), m < full.size() ? m : 0);
    if (!folder.empty() && folder.back() != '\\') folder += '\\';
    return folder + path;
#else
    std::error_code error;
    const std::filesystem::path full = std::filesystem::absolute(path, error);
    return error ? path : full.string();
#endif
}

std::string parentFolder(const std::string& path) {
    size_t cut = path.find_last_of("\\/");
    return cut == std::string::npos ? std::string() : path.substr(0, cut);
}

}  // namespace zel
