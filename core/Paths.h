#pragma once

#include <string>

namespace zel {

// "C:\x", "C:/x", "\x", "\\server\x" and "/x" count as absolute.
bool isAbsolutePath(const std::string& path);

// A relative output path is placed in the log folder when one is set.
std::string resolveOutputPath(const std::string& path);

// Folder of a path, without the trailing separator ("" for a bare name).
std::string parentFolder(const std::string& path);

}  // namespace zel
