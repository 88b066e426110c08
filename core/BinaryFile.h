#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace zel {

// The whole file's bytes; nothing when it cannot be opened.
std::optional<std::vector<uint8_t>> readBinaryFile(const std::string& path);

// Replaces the file whole with the bytes (core/SafeSave.h); false, with the
// failure reported, when it cannot be written.
bool writeBinaryFile(const std::string& path, const uint8_t* data, size_t size);

bool fileExists(const std::string& path);

}  // namespace zel
