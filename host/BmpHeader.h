#pragma once

#include <array>
#include <cstdint>

namespace zel {

// A screenshot file starts with the 14-byte file header and the 40-byte
// information header; the pixel data follows at once.
constexpr uint32_t kBmpHeadersSize = 54;
constexpr uint32_t kBmpInfoHeaderSize = 40;

// Bytes of one 24-bit pixel row, padded to a multiple of four.
uint32_t bmpStride(int32_t width);

// Both headers of a 24-bit, uncompressed, bottom-up image. The file-size
// field stays 0: readers take the size from the headers.
std::array<uint8_t, kBmpHeadersSize> bmpHeaders(int32_t width, int32_t height);

}  // namespace zel
