#include "core/BinaryFile.h"

#include <filesystem>
#include <fstream>
#include <iterator>

#include "core/SafeSave.h"

namespace zel {

std::optional<std::vector<uint8_t>> readBinaryFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) return std::nullopt;
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

bool writeBinaryFile(const std::string& path, const uint8_t* data, size_t size) {
    const std::string bytes = size ? std::string(reinterpret_cast<const char*>(data), size) : std::string();
    return saveFileWhole(path, bytes);
}

bool fileExists(const std::string& path) {
    std::error_code error;
    return std::filesystem::exists(path, error);
}

}  // namespace zel
