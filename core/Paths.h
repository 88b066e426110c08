#pragma once

#include <string>

namespace zel {

// "C:\x", "C:/x", "\x", "\\server\x" and "/x" count as absolute.
bool isAbsolutePath(const std::string& path);

// A relative output path is placed in the log folder when one is set.
std::string resolveOutputPath(const std::string& path);

// True for paths that open a device rather than a file: the "\\.\" device
// namespace ("\\.\PhysicalDrive1", "\\.\E:"), and "\\?\" or "\??\" paths
// that are not a drive-letter or UNC file path. Either slash counts.
bool namesDevice(const std::string& path);

// The full path the system opens for a name: a relative one against the
// working folder. A name too long for the system to resolve is joined to the
// working folder as it stands, which is never shorter than its full path.
std::string absoluteForm(const std::string& path);

// Folder of a path, without the trailing separator ("" for a bare name).
std::string parentFolder(const std::string& path);

}  // namespace zel
