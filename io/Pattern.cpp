#include "io/Pattern.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace zel {
namespace {

inline uint64_t rotl(uint64_t x, unsigned k) { return (x << k) | (x >> (64 - k)); }

// Little-endian store of one word, unaligned allowed.
inline void storeWord(uint8_t* p, uint64_t v) {
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
    v = __builtin_bswap64(v);
#endif
    std::memcpy(p, &v, sizeof v);
}

// The first `count` bytes of v, low byte first.
inline void storeBytes(uint8_t* p, uint64_t v, size_t count) {
    for (size_t i = 0; i < count; ++i) p[i] = static_cast<uint8_t>(v >> (8 * i));
}

// Largest memcmp run of the compare: big enough that the call costs nothing,
// small enough that a miscompare is narrowed down quickly.
constexpr size_t kCompareChunk = 64 * 1024;

}  // namespace

Sfc64::Sfc64(uint64_t seed) noexcept : a_(0xF1EA5EEDull), b_(seed), c_(seed), d_(seed) {
    for (int i = 0; i < 20; ++i) next();
}

void fillRandom(Sfc64& generator, void* buffer, size_t bytes) noexcept {
    fillRandom(generator, buffer, bytes, static_cast<unsigned>(reinterpret_cast<uintptr_t>(buffer) & 7));
}

void fillRandom(Sfc64& generator, void* buffer, size_t bytes, unsigned phase) noexcept {
    uint8_t* p = static_cast<uint8_t*>(buffer);
    Sfc64 s = generator;  // a local copy stays in registers
    phase &= 7;
    if (phase != 0 && bytes != 0) {
        const size_t lead = std::min<size_t>(8 - phase, bytes);
        storeBytes(p, s.next(), lead);
        p += lead;
        bytes -= lead;
    }
    size_t words = bytes / 8;
    while (words > 16) {
        const uint64_t d1 = s.next(), d2 = s.next(), d3 = s.next(), d4 = s.next(), d5 = s.next();
        const uint64_t r1 = rotl(d1, 7), r2 = rotl(d2, 13), r3 = rotl(d3, 19);
        storeWord(p + 0 * 8, d1);
        storeWord(p + 1 * 8, d2);
        storeWord(p + 2 * 8, d3);
        storeWord(p + 3 * 8, d4);
        storeWord(p + 4 * 8, d5);
        storeWord(p + 5 * 8, d2 ^ r1);
        storeWord(p + 6 * 8, d3 ^ r1);
        storeWord(p + 7 * 8, d4 ^ r1);
        storeWord(p + 8 * 8, d5 ^ r1);
        storeWord(p + 9 * 8, d3 ^ r2);
        storeWord(p + 10 * 8, d4 ^ r2);
        storeWord(p + 11 * 8, d5 ^ r2);
        storeWord(p + 12 * 8, d4 ^ r3);
        storeWord(p + 13 * 8, d5 ^ r3);
        storeWord(p + 14 * 8, r3 ^ r2 ^ r1);
        storeWord(p + 15 * 8, rotl(d5 ^ d4, 39) ^ r1);
        p += 16 * 8;
        words -= 16;
    }
    while (words >= 4) {
        const uint64_t d1 = s.next(), d2 = s.next(), d3 = s.next(), d4 = s.next();
        storeWord(p + 0 * 8, d1);
        storeWord(p + 1 * 8, d2);
        storeWord(p + 2 * 8, d3);
        storeWord(p + 3 * 8, d4);
        p += 4 * 8;
        words -= 4;
    }
    for (; words != 0; --words, p += 8) storeWord(p, s.next());
    if (const size_t tail = bytes % 8) storeBytes(p, s.next(), tail);
    generator = s;
}

void stampMetadata(uint8_t* image, size_t imageBytes, std::string_view metadata) noexcept {
    constexpr size_t kOffset = 16;
    if (metadata.empty() || imageBytes <= kOffset) return;
    const size_t padded = (metadata.size() + 15) / 16 * 16;
    const size_t room = imageBytes - kOffset;
    const size_t text = std::min(metadata.size(), room);
    std::memcpy(image + kOffset, metadata.data(), text);
    std::memset(image + kOffset + text, 0, std::min(padded, room) - text);
}

void buildWriteImage(PatternKind kind, uint64_t seed, std::string_view metadata, uint8_t* image,
                     size_t sectorBytes) noexcept {
    switch (kind) {
        case PatternKind::Fixed: {
            // 0xAA55 little-endian, a word at a time: built byte by byte,
            // the image took a fifth of a 128 KiB transfer's fill time.
            size_t i = 0;
            for (; i + 8 <= sectorBytes; i += 8) storeWord(image + i, 0xAA55AA55AA55AA55ull);
            for (; i < sectorBytes; ++i) image[i] = (i & 1) ? 0xAA : 0x55;
            break;
        }
        case PatternKind::Rand: {
            Sfc64 generator(seed);
            fillRandom(generator, image, sectorBytes, 0);
            break;
        }
        default:  // Zero, Dut, Trim; Unknown never gets here from the engine
            std::memset(image, 0, sectorBytes);
            break;
    }
    stampMetadata(image, sectorBytes, metadata);
}

void replicateImage(const uint8_t* image, size_t imageBytes, uint8_t* buffer, size_t bufferBytes) noexcept {
    size_t filled = std::min(imageBytes, bufferBytes);
    if (filled == 0) return;
    if (image != buffer) std::memcpy(buffer, image, filled);
    while (filled < bufferBytes) {
        const size_t copy = std::min(filled, bufferBytes - filled);
        std::memcpy(buffer + filled, buffer, copy);
        filled += copy;
    }
}

void fillTransfer(PatternKind kind, uint64_t seed, std::string_view metadata, size_t sectorBytes, uint8_t* buffer,
                  size_t bufferBytes) {
    if (bufferBytes >= sectorBytes) {
        buildWriteImage(kind, seed, metadata, buffer, sectorBytes);
        replicateImage(buffer, sectorBytes, buffer, bufferBytes);
    } else {
        std::vector<uint8_t> image(sectorBytes);
        buildWriteImage(kind, seed, metadata, image.data(), sectorBytes);
        replicateImage(image.data(), sectorBytes, buffer, bufferBytes);
    }
}

std::optional<size_t> firstDifferingSector(const uint8_t* actual, const uint8_t* expected, size_t bytes,
                                           size_t sectorBytes) noexcept {
    // Whole sectors per memcmp run; a sector larger than the chunk is one run.
    const size_t chunk = std::max(sectorBytes, kCompareChunk / sectorBytes * sectorBytes);
    for (size_t offset = 0; offset < bytes; offset += chunk) {
        const size_t length = std::min(chunk, bytes - offset);
        if (std::memcmp(actual + offset, expected + offset, length) == 0) continue;
        for (size_t sector = offset;; sector += sectorBytes) {
            if (std::memcmp(actual + sector, expected + sector, std::min(sectorBytes, bytes - sector)) != 0)
                return sector / sectorBytes;
        }
    }
    return std::nullopt;
}

}  // namespace zel
