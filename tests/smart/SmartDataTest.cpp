#include <gtest/gtest.h>

#include "smart/SmartData.h"

using zel::SmartBytes;
using zel::SmartReading;

namespace {

// A sector whose entry `slot` of a table holds id and raw bytes 1..7
// offset by `tag` (the 7th being the reserved byte).
void putEntry(std::vector<uint8_t>* sector, size_t tableOffset, size_t slot, uint8_t id, uint8_t tag) {
    uint8_t* e = sector->data() + tableOffset + slot * 12;
    e[0] = id;
    e[3] = 100;
    for (int i = 0; i < 7; ++i) e[5 + i] = static_cast<uint8_t>(tag + i);
}

}  // namespace

TEST(SmartData, SataSlices) {
    std::vector<uint8_t> sector(512, 0);
    putEntry(&sector, 2, 0, 0x05, 0x10);
    putEntry(&sector, 2, 29, 0xC2, 0x20);  // last main entry
    putEntry(&sector, 2, 3, 0x09, 0x30);
    putEntry(&sector, 386, 2, 0x09, 0x40);  // second table wins
    putEntry(&sector, 386, 9, 0xF1, 0x50);  // last second-table entry
    putEntry(&sector, 2, 5, 0x00, 0x60);    // empty entry is skipped

    zel::SataConfig config;
    config.attributes = {{{}, {0x05, 0, 6}}, {{}, {0xC2, 0, 1}}, {{}, {0x09, 0, 7}},  {{}, {0xF1, 2, 4}},
                         {{}, {0xBB, 0, 6}}, {{}, {0x05, 6, 7}}, {{}, {0x05, 1, 12}}, {{}, {0x00, 0, 6}}};
    // 0xBB is absent, 0x05[6] the reserved byte, 0x05[11:1] clipped at the entry, id 0 never matches.
    const SmartReading expected = {{0x10, 0x11, 0x12, 0x13, 0x14, 0x15},       {0x20},
                                   {0x40, 0x41, 0x42, 0x43, 0x44, 0x45, 0x46}, {0x52, 0x53},
                                   {}, {0x16}, {0x11, 0x12, 0x13, 0x14, 0x15, 0x16}, {}};
    SmartReading reading;
    ASSERT_TRUE(zel::parseSataData(config, sector.data(), sector.size(), &reading));
    EXPECT_EQ(reading, expected);

    EXPECT_FALSE(zel::parseSataData(config, sector.data(), 511, &reading));
    EXPECT_EQ(reading, SmartReading(config.attributes.size()));
}

TEST(SmartData, NvmePages) {
    std::vector<uint8_t> page(512);
    for (size_t i = 0; i < page.size(); ++i) page[i] = static_cast<uint8_t>(i);

    zel::NvmeConfig config;
    // page 2: attributes 0..1; page 0xC0: attribute 2; page 2 again: attribute 3
    config.logPages = {{0, 2, 512, 0}, {2, 0xC0, 16, 0}, {3, 2, 512, 0}};
    config.attributes = {{{}, {1, 3}}, {{}, {0x10, 0x11}}, {{}, {14, 20}}, {{}, {0, 1}}};

    // The log page, the bytes given, whether they read, and the reading.
    const std::tuple<int32_t, size_t, bool, SmartReading> cases[] = {
        {2, 512, true, {{1, 2}, {0x10}, {}, {}}},
        {0xC0, 20, true, {{}, {}, {14, 15, 16, 17, 18, 19}, {}}},
        {0xC0, 19, false, {{}, {}, {}, {}}},
        {2, 2, false, {{}, {}, {}, {}}},
        {7, 512, true, {{}, {}, {}, {}}},
    };
    for (const auto& [lid, size, ok, expected] : cases) {
        SmartReading reading;
        EXPECT_EQ(zel::parseNvmeData(config, lid, page.data(), size, &reading), ok) << lid;
        EXPECT_EQ(reading, expected) << lid << " " << size;
    }

    // A bin file gives its first bytes as the page; a shorter one does not read.
    std::vector<uint8_t> data;
    EXPECT_TRUE(zel::pageFromBin(page, 4, &data));
    EXPECT_EQ(data, (std::vector<uint8_t>{0, 1, 2, 3}));
    EXPECT_TRUE(zel::pageFromBin(page, 512, &data));
    EXPECT_FALSE(zel::pageFromBin(page, 513, &data));
}
