#pragma once

// The data pattern of the rw engine: the random-number generator, its fixed buffer
// expansion, the one-sector image of a write mode, its replication into a
// transfer buffer, and the compare of a transfer against an expected buffer.
// Windows-free.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "io/RwJob.h"

namespace zel {

// Bob Jenkins' small fast 64-bit generator, the tool's one random-number
// generator: a = 0xF1EA5EED, b = c = d = seed, 20 warm-up steps.
class Sfc64 {
public:
    explicit Sfc64(uint64_t seed) noexcept;
    // One step; returns d.
    uint64_t next() noexcept {
        const uint64_t e = a_ - rotl(b_, 7);
        a_ = b_ ^ rotl(c_, 13);
        b_ = c_ + rotl(d_, 37);
        c_ = d_ + e;
        d_ = e + a_;
        return d_;
    }

private:
    static uint64_t rotl(uint64_t x, unsigned k) noexcept { return (x << k) | (x >> (64 - k)); }
    uint64_t a_, b_, c_, d_;
};

// Fills [buffer, buffer + bytes) with the generator's fixed expansion:
// leading bytes up to an 8-byte boundary from one step (low byte first),
// blocks of 16 little-endian words from five steps while more than 16 words
// remain, groups of four words while four remain, single words, and a
// trailing partial word from one step (low byte first). The bytes depend on
// the seed, the length and the buffer's address modulo 8; the generator
// continues where the fill left it.
void fillRandom(Sfc64& generator, void* buffer, size_t bytes) noexcept;

// The same expansion as if the buffer's address were `phase` modulo 8
// (0..7), wherever it really lies. The sector image uses phase 0.
void fillRandom(Sfc64& generator, void* buffer, size_t bytes, unsigned phase) noexcept;

// Copies the metadata text, zero-padded up to a multiple of 16 bytes, into
// the image at offset 16. Empty text leaves the image alone; what would pass
// the image's end is cut off.
void stampMetadata(uint8_t* image, size_t imageBytes, std::string_view metadata) noexcept;

// Writes the one-sector image of a write mode: Fixed 0x55, 0xAA repeated;
// Rand the expansion of a generator seeded with `seed` (phase 0); Zero, Dut,
// Trim (and Unknown) all zero; then the metadata stamp.
void buildWriteImage(PatternKind kind, uint64_t seed, std::string_view metadata, uint8_t* image,
                     size_t sectorBytes) noexcept;

// Copies the image to the start of the buffer (skipped when image ==
// buffer) and replicates it by doubling copies until the buffer is full. A
// buffer shorter than the image gets the image's first bytes.
void replicateImage(const uint8_t* image, size_t imageBytes, uint8_t* buffer, size_t bufferBytes) noexcept;

// A write mode's transfer buffer: the image built at the buffer's start,
// then replicated. sectorBytes must be at least 1.
void fillTransfer(PatternKind kind, uint64_t seed, std::string_view metadata, size_t sectorBytes, uint8_t* buffer,
                  size_t bufferBytes);

// Exact compare of a transfer with its expected buffer: the index of the
// first sector (counted from the transfer's start; a trailing partial sector
// counts as one) holding a differing byte, or nullopt when all bytes agree.
// Runs at memcmp speed when the buffers agree. sectorBytes must be at least 1.
std::optional<size_t> firstDifferingSector(const uint8_t* actual, const uint8_t* expected, size_t bytes,
                                           size_t sectorBytes) noexcept;

}  // namespace zel
