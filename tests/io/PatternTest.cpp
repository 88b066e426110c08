#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "Sha256.h"
#include "data/pattern_vectors.h"
#include "io/Pattern.h"

using testing_sha256::sha256Hex;
using zel::PatternKind;

namespace {

// A buffer whose first byte lies `phase` bytes past a 64-byte boundary,
// with guard bytes around it.
struct Placed {
    Placed(unsigned phase, size_t length) : storage(length + 192, 0xEE), length(length) {
        const auto base = reinterpret_cast<uintptr_t>(storage.data());
        at = static_cast<size_t>((64 - base % 64) % 64 + 64 + phase);
    }
    uint8_t* data() { return storage.data() + at; }
    bool guardsIntact() const {
        for (size_t i = 0; i < storage.size(); ++i)
            if ((i < at || i >= at + length) && storage[i] != 0xEE) return false;
        return true;
    }
    std::vector<uint8_t> storage;
    size_t at = 0;
    size_t length;
};

std::vector<uint8_t> image(PatternKind kind, uint64_t seed, const std::string& metadata, size_t sector) {
    std::vector<uint8_t> out(sector);
    zel::buildWriteImage(kind, seed, metadata, out.data(), sector);
    return out;
}

}  // namespace

TEST(PatternVectors, GeneratorOutputs) {
    for (const auto& v : pattern_vectors::kOutputs) {
        zel::Sfc64 generator(v.seed);
        for (uint64_t expected : v.out) EXPECT_EQ(generator.next(), expected) << "seed " << v.seed;
    }
}

TEST(PatternVectors, ShortFillsByPhaseAndByAddress) {
    for (const auto& v : pattern_vectors::kShortFills) {
        const std::vector<uint8_t> expected(v.bytes, v.bytes + v.length);
        std::vector<uint8_t> byPhase(v.length);
        zel::Sfc64 first(v.seed);
        zel::fillRandom(first, byPhase.data(), v.length, v.phase);
        EXPECT_EQ(byPhase, expected) << "seed " << v.seed << " phase " << v.phase << " length " << v.length;

        Placed placed(v.phase, v.length);
        zel::Sfc64 second(v.seed);
        zel::fillRandom(second, placed.data(), v.length);
        EXPECT_EQ(std::vector<uint8_t>(placed.data(), placed.data() + v.length), expected) << "length " << v.length;
        EXPECT_TRUE(placed.guardsIntact()) << "length " << v.length;
    }
}

TEST(PatternVectors, LongFillsByAddress) {
    for (const auto& v : pattern_vectors::kLongFills) {
        Placed placed(v.phase, v.length);
        zel::Sfc64 generator(v.seed);
        zel::fillRandom(generator, placed.data(), v.length);
        EXPECT_EQ(sha256Hex(placed.data(), v.length), v.sha256) << "phase " << v.phase << " length " << v.length;
        EXPECT_TRUE(placed.guardsIntact());
    }
}

TEST(PatternVectors, WriteImages) {
    for (const auto& v : pattern_vectors::kImages) {
        const auto bytes = image(static_cast<PatternKind>(v.kind), v.seed, v.metadata, v.sector);
        EXPECT_EQ(sha256Hex(bytes.data(), bytes.size()), v.sha256) << "kind " << v.kind << " \"" << v.metadata << '"';
    }
}

TEST(Pattern, Sha256OfTheTestsIsRight) {
    EXPECT_EQ(sha256Hex("abc", 3), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    const char* twoBlocks = "abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq";
    EXPECT_EQ(sha256Hex(twoBlocks, std::strlen(twoBlocks)),
              "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
}

TEST(Pattern, GeneratorContinuesAfterAFill) {
    // 136 bytes at phase 0: one 16-word block (five steps) and one word.
    zel::Sfc64 filled(7), reference(7);
    std::vector<uint8_t> buffer(136);
    zel::fillRandom(filled, buffer.data(), buffer.size(), 0);
    for (int i = 0; i < 6; ++i) reference.next();
    EXPECT_EQ(filled.next(), reference.next());
}

TEST(Pattern, FixedImageWithMetadata) {
    const auto bytes = image(PatternKind::Fixed, 0, "abc", 512);
    for (size_t i = 0; i < 512; ++i) {
        uint8_t expected = (i & 1) ? 0xAA : 0x55;
        if (i >= 16 && i < 32) expected = i < 19 ? "abc"[i - 16] : 0;
        ASSERT_EQ(bytes[i], expected) << "byte " << i;
    }
    // Metadata that would pass the image's end is cut off there.
    std::vector<uint8_t> small(24 + 8, 0x77);
    zel::stampMetadata(small.data(), 24, "0123456789ABCDEFGHIJ");
    EXPECT_EQ(std::string(small.begin() + 16, small.begin() + 24), "01234567");
    EXPECT_EQ(small[24], 0x77);
    // Dut and Trim images stay all zero, as does one of an unknown kind.
    EXPECT_EQ(image(PatternKind::Dut, 5, "", 512), std::vector<uint8_t>(512, 0));
    EXPECT_EQ(image(PatternKind::Unknown, 5, "", 512), std::vector<uint8_t>(512, 0));
}

TEST(Pattern, ReplicationFillsEverySector) {
    const auto sector = image(PatternKind::Rand, 99, "meta", 512);
    for (size_t size : {size_t(0), size_t(100), size_t(512), size_t(3 * 512 + 100), size_t(128 * 1024)}) {
        std::vector<uint8_t> buffer(size, 0xEE);
        zel::replicateImage(sector.data(), sector.size(), buffer.data(), size);
        for (size_t at = 0; at < size; at += 512) {
            const size_t n = std::min<size_t>(512, size - at);
            ASSERT_EQ(std::memcmp(buffer.data() + at, sector.data(), n), 0) << "size " << size << " at " << at;
        }
    }
    // A transfer is built in place, with the image independent of where the
    // buffer lies.
    std::vector<uint8_t> storage(64 * 1024 + 3);
    zel::fillTransfer(PatternKind::Rand, 99, "meta", 512, storage.data() + 3, 64 * 1024);
    std::vector<uint8_t> expected(64 * 1024);
    zel::replicateImage(sector.data(), sector.size(), expected.data(), expected.size());
    EXPECT_EQ(std::memcmp(storage.data() + 3, expected.data(), expected.size()), 0);
    std::vector<uint8_t> shortTransfer(200);
    zel::fillTransfer(PatternKind::Rand, 99, "meta", 512, shortTransfer.data(), shortTransfer.size());
    EXPECT_EQ(std::memcmp(shortTransfer.data(), sector.data(), 200), 0);
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
