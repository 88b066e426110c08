#pragma once

#include <cstdint>
#include <string>

#include "smart/LimitCheck.h"
#include "smart/SmartSyntax.h"

namespace zel {

// How readings and attributes appear in the table, the conflict list and
// the csv file. bytes are an attribute's checked bytes as read; empty when
// the reading has no such attribute, which shows as empty text.

// SATA: a slice past the reserved byte shows nothing; widths 1 and 2 print
// "%d", width 4 the low 32 bits signed, others 64-bit decimal; number base
// 16 prints each byte "%02X", most significant first.
std::string sataValueText(const SmartBytes& bytes, const SataSelector& slice, int32_t numberBase);

// NVMe: as SATA, except that a string attribute shows its characters,
// $tempc shows Kelvin as degrees Celsius, and ranges longer than 8 bytes
// print as hexadecimal bytes in any base.
std::string nvmeValueText(const SmartBytes& bytes, int32_t numberBase, bool isString, uint8_t firstCode);

// "0x%02X" when the slice is the default one (6 bytes, or 7 with the
// reserved byte, where a 6-byte slice also counts as 7), else
// "0x%02X[%d]" for one byte and "0x%02X[%d:%d]" (high:low) for several.
std::string sataLabel(const SataSelector& slice, bool includeReservedByte);
// "%X:%X" with the last and the first byte.
std::string nvmeLabel(const NvmeSelector& range);

// How the conflict list after the table names an attribute: the full
// range, whatever the label shows ("ID: 0x%X[%d:%d]", "Offset: [%X]%X:%X").
std::string sataConflictId(const SataSelector& slice);
std::string nvmeConflictId(int32_t logPageId, const NvmeSelector& range);
// One line of that list.
std::string conflictLine(const std::string& conflictId, const std::string& limit);

// Csv heading cells.
std::string sataCsvHeading(const std::string& description, const SataSelector& slice, bool includeReservedByte);
std::string nvmeCsvHeading(int32_t logPageId, const NvmeSelector& range, const std::string& description);

}  // namespace zel
