#pragma once

#include <string>

namespace zel {

// Writes the whole screen to a 24-bit BMP file. Failures are silent and the
// answer is always true.
bool takeScreenshot(const std::string& path);

}  // namespace zel
