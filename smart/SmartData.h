#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "smart/LimitCheck.h"
#include "smart/SmartConfig.h"

namespace zel {

// One reading: the checked bytes of every configured attribute, in the
// order of the configured list; empty bytes where the data had nothing.
using SmartReading = std::vector<SmartBytes>;

constexpr size_t kSataSmartSectorSize = 512;

// Fills the attributes from a SMART READ DATA sector: the main table of 30
// entries at offset 2, then the second table of 10 at offset 386, so an id
// in both tables reads from the second. A slice never reaches past its
// entry's reserved byte. false (nothing filled) for fewer than 512 bytes.
bool parseSataData(const SataConfig& config, const uint8_t* data, size_t size, SmartReading* reading);

// Fills the attributes of the first section that names this log page with
// their byte ranges of data (data starts at the first byte read). A page
// no section names fills nothing and succeeds. false when the data ends
// before a range does; that attribute stays empty.
bool parseNvmeData(const NvmeConfig& config, int32_t logPageId, const uint8_t* data, size_t size,
                   SmartReading* reading);

// The data of one page from a bin file's bytes written by an earlier run:
// its first `size` bytes; false when the file is shorter.
bool pageFromBin(const std::vector<uint8_t>& fileBytes, size_t size, std::vector<uint8_t>* data);

}  // namespace zel
