#include <gtest/gtest.h>

#include <cstdint>

#include "host/BmpHeader.h"

namespace {

// Little-endian reads at the offsets of the BMP layout.
uint32_t at16(const uint8_t* bytes, size_t offset) { return bytes[offset] | bytes[offset + 1] << 8; }
uint32_t at32(const uint8_t* bytes, size_t offset) { return at16(bytes, offset) | at16(bytes, offset + 2) << 16; }

TEST(BmpHeader, FieldsAtTheirOffsets) {
    const auto headers = zel::bmpHeaders(1023, 767);
    const uint8_t* b = headers.data();
    EXPECT_EQ(b[0], 'B');
    EXPECT_EQ(b[1], 'M');
    EXPECT_EQ(at32(b, 2), 0u) << "the file size is left zero";
    EXPECT_EQ(at32(b, 6), 0u);
    EXPECT_EQ(at32(b, 10), 54u);
    EXPECT_EQ(at32(b, 14), 40u);
    EXPECT_EQ(at32(b, 18), 1023u);
    EXPECT_EQ(at32(b, 22), 767u) << "positive: rows bottom-up";
    EXPECT_EQ(at16(b, 26), 1u);
    EXPECT_EQ(at16(b, 28), 24u);
    for (size_t offset = 30; offset < 54; ++offset) EXPECT_EQ(b[offset], 0) << "offset " << offset;

    // Every byte of a large size lands in place.
    const auto wide = zel::bmpHeaders(0x01020304, 0x05060708);
    EXPECT_EQ(at32(wide.data(), 18), 0x01020304u);
    EXPECT_EQ(at32(wide.data(), 22), 0x05060708u);
}

TEST(BmpHeader, RowsPadToFourBytes) {
    struct Case {
        int32_t width;
        uint32_t stride;
    } cases[] = {{0, 0}, {1, 4}, {2, 8}, {3, 12}, {4, 12}, {5, 16}, {1023, 3072}, {1024, 3072}, {1366, 4100}};
    for (const Case& c : cases) EXPECT_EQ(zel::bmpStride(c.width), c.stride) << "width " << c.width;
}

}  // namespace
