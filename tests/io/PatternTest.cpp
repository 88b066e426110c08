#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "Sha256.h"
#include "data/pattern_vectors.h"
#include "io/Pattern.h"

using testing_sha256::sha256Hex;
using zel::PatternKind;

namespace {

std::vector<uint8_t> image(PatternKind kind, uint64_t seed, const std::string& metadata, size_t sector) {
    std::vector<uint8_t> out(sector);
    zel::buildWriteImage(kind, seed, metadata, out.data(), sector);
    return out;
}

}  // namespace

// Each fill is made of the generator's outputs, so the fills check it too.
TEST(PatternVectors, FillsByPhaseAndByAddressAndWriteImages) {
    for (const auto& v : pattern_vectors::kFills) {
        std::vector<uint8_t> byPhase(v.length);
        zel::Sfc64 first(v.seed);
        zel::fillRandom(first, byPhase.data(), v.length, v.phase);
        EXPECT_EQ(sha256Hex(byPhase.data(), v.length), v.sha256)
            << "seed " << v.seed << " phase " << v.phase << " length " << v.length;

        // By address: the buffer starts `phase` bytes past a 64-byte boundary, with guard bytes around it.
        std::vector<uint8_t> storage(v.length + 192, 0xEE);
        uint8_t *const begin = storage.data(), *const end = begin + storage.size();
        uint8_t* const placed = begin + (64 - reinterpret_cast<uintptr_t>(begin) % 64) % 64 + 64 + v.phase;
        zel::Sfc64 second(v.seed);
        zel::fillRandom(second, placed, v.length);
        EXPECT_EQ(sha256Hex(placed, v.length), v.sha256) << "by address, length " << v.length;
        const auto guard = [](uint8_t byte) { return byte == 0xEE; };
        EXPECT_TRUE(std::all_of(begin, placed, guard) && std::all_of(placed + v.length, end, guard)) << v.length;
    }
    for (const auto& v : pattern_vectors::kImages) {
        const auto bytes = image(static_cast<PatternKind>(v.kind), v.seed, v.metadata, v.sector);
        EXPECT_EQ(sha256Hex(bytes.data(), bytes.size()), v.sha256) << "kind " << v.kind << " \"" << v.metadata << '"';
    }
}

TEST(Pattern, GeneratorContinuesAfterAFill) {
    // 136 bytes at phase 0: one 16-word block (five steps) and one word.
    zel::Sfc64 filled(7), reference(7);
    std::vector<uint8_t> buffer(136);
    zel::fillRandom(filled, buffer.data(), buffer.size(), 0);
    for (int i = 0; i < 6; ++i) reference.next();
    EXPECT_EQ(filled.next(), reference.next());
}

// Whole images of every kind are in the vectors; here metadata cut at the
// image's end and a kind the engine never passes.
TEST(Pattern, MetadataStopsAtTheImageEndAndUnknownKindsStayZero) {
    std::vector<uint8_t> small(24 + 8, 0x77);
    zel::stampMetadata(small.data(), 24, "0123456789ABCDEFGHIJ");
    EXPECT_EQ(std::string(small.begin() + 16, small.begin() + 24), "01234567");
    EXPECT_EQ(small[24], 0x77);
    EXPECT_EQ(image(PatternKind::Unknown, 5, "", 512), std::vector<uint8_t>(512, 0));
}

// A transfer is built in place from the one-sector image, whatever its
// size and wherever the buffer lies.
TEST(Pattern, TransfersRepeatTheImageInEverySector) {
    const auto sector = image(PatternKind::Rand, 99, "meta", 512);
    for (size_t size : {size_t(0), size_t(100), size_t(512), size_t(3 * 512 + 100), size_t(128 * 1024)}) {
        std::vector<uint8_t> replicated(size, 0xEE), built(size + 3, 0xEE);
        zel::replicateImage(sector.data(), sector.size(), replicated.data(), size);
        zel::fillTransfer(PatternKind::Rand, 99, "meta", 512, built.data() + 3, size);
        for (size_t at = 0; at < size; at += 512) {
            const size_t n = std::min<size_t>(512, size - at);
            ASSERT_EQ(std::memcmp(replicated.data() + at, sector.data(), n), 0) << "size " << size << " at " << at;
            ASSERT_EQ(std::memcmp(built.data() + 3 + at, sector.data(), n), 0) << "size " << size << " at " << at;
        }
    }
}

TEST(Pattern, FirstDifferingSector) {
    const size_t size = 1 << 20;
    std::vector<uint8_t> expected(size), actual;
    zel::fillTransfer(PatternKind::Fixed, 0, "", 512, expected.data(), size);
    actual = expected;
    EXPECT_EQ(zel::firstDifferingSector(actual.data(), expected.data(), size, 512), std::nullopt);
    EXPECT_EQ(zel::firstDifferingSector(actual.data(), expected.data(), 0, 512), std::nullopt);

    actual[1000 * 512 + 511] ^= 1;  // past the first compare runs
    actual[1500 * 512] ^= 0x80;
    EXPECT_EQ(zel::firstDifferingSector(actual.data(), expected.data(), size, 512), 1000u);
    EXPECT_EQ(zel::firstDifferingSector(actual.data(), expected.data(), size, 4096), 1000u * 512 / 4096);
    EXPECT_EQ(zel::firstDifferingSector(actual.data(), expected.data(), size, 256 * 1024), 1u);
    actual[0] ^= 0xFF;
    EXPECT_EQ(zel::firstDifferingSector(actual.data(), expected.data(), size, 512), 0u);

    // A trailing partial sector counts as one.
    actual = expected;
    actual[3 * 512 + 10] ^= 1;
    EXPECT_EQ(zel::firstDifferingSector(actual.data(), expected.data(), 3 * 512 + 11, 512), 3u);
    EXPECT_EQ(zel::firstDifferingSector(actual.data(), expected.data(), 3 * 512 + 10, 512), std::nullopt);
}
