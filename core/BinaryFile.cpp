#include "core/BinaryFile.h"

#include <filesystem>
#include <fstream>
#include <iterator>

namespace zel {

std::optional<std::vector<uint8_t>> readBinaryFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) return std::nullopt;
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

bool writeBinaryFile(const std::string& path, const uint8_t* data, size_t size) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    return static_cast<bool>(file);
}

bool fileExists(const std::string& path) {
    std::error_code error;
    return std::filesystem::exists(path, error);
}

}  // namespace zel
