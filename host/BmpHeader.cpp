#include "host/BmpHeader.h"

namespace zel {
namespace {

constexpr uint32_t kFileHeaderSize = kBmpHeadersSize - kBmpInfoHeaderSize;

void put16(uint8_t* at, uint32_t value) {
    at[0] = static_cast<uint8_t>(value);
    at[1] = static_cast<uint8_t>(value >> 8);
}

void put32(uint8_t* at, uint32_t value) {
    put16(at, value);
    put16(at + 2, value >> 16);
}

}  // namespace

uint32_t bmpStride(int32_t width) { return ((static_cast<uint32_t>(width) * 24 + 31) & ~31u) / 8; }

std::array<uint8_t, kBmpHeadersSize> bmpHeaders(int32_t width, int32_t height) {
    std::array<uint8_t, kBmpHeadersSize> bytes{};
    bytes[0] = 'B';
    bytes[1] = 'M';
    // The file-size field (offset 2) stays 0, kept as built: readers take the
    // size from the headers.
    put32(&bytes[10], kBmpHeadersSize);
    uint8_t* info = &bytes[kFileHeaderSize];
    put32(info, kBmpInfoHeaderSize);
    put32(info + 4, static_cast<uint32_t>(width));
    put32(info + 8, static_cast<uint32_t>(height));
    put16(info + 12, 1);
    put16(info + 14, 24);
    return bytes;
}

}  // namespace zel
