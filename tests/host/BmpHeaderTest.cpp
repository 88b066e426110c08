#include <gtest/gtest.h>

#include <cstdint>

#include "host/BmpHeader.h"

namespace {

// Little-endian reads at the offsets of the BMP layout.
uint32_t at16(const uint8_t* bytes, size_t offset) { return bytes[offset] | bytes[offset + 1] << 8; }
uint32_t at32(const uint8_t* bytes, size_t offset) { return at16(bytes, offset) | at16(bytes, offset + 2) << 16; }

// Each field of a screen-sized header is checked in the file a screenshot
// run writes (ScreenshotTest.cpp); here that every byte of a large size lands.
TEST(BmpHeader, EveryByteOfALargeSizeLandsInPlace) {
    const auto headers = zel::bmpHeaders(0x01020304, 0x05060708);
    EXPECT_EQ(at32(headers.data(), 18), 0x01020304u);
    EXPECT_EQ(at32(headers.data(), 22), 0x05060708u);
}

TEST(BmpHeader, RowsPadToFourBytes) {
    const std::pair<int32_t, uint32_t> cases[] = {{0, 0},  {1, 4},       {2, 8},       {3, 12},     {4, 12},
                                                  {5, 16}, {1023, 3072}, {1024, 3072}, {1366, 4100}};
    for (const auto& [width, stride] : cases) EXPECT_EQ(zel::bmpStride(width), stride) << "width " << width;
}

}  // namespace
