#include "smart/ValueText.h"

#include <algorithm>

#include "core/TextFormat.h"

namespace zel {
namespace {

constexpr int kKelvinOffset = 273;

// The number of up to 8 bytes, adjusted, written back over them and printed
// in the base; what a width prints is read from the adjusted number.
std::string numberText(SmartBytes bytes, int32_t numberBase, int64_t adjust) {
    const size_t width = bytes.size();
    const int64_t number = static_cast<int64_t>(static_cast<uint64_t>(readingValue(bytes)) + adjust);
    for (size_t i = 0; i < width; ++i) bytes[i] = static_cast<uint8_t>(static_cast<uint64_t>(number) >> (8 * i));
    if (numberBase == 16) {
        std::string text;
        for (size_t i = width; i-- > 0;) text += formatText("%02X", bytes[i]);
        return text;
    }
    if (width == 1 || width == 2) return formatText("%d", static_cast<int>(number));
    // A 4-byte counter past 2^31 prints negative; kept exactly: scripts match this text.
    if (width == 4) return formatText("%d", static_cast<int32_t>(static_cast<uint32_t>(number)));
    return formatText("%lld", static_cast<long long>(number));
}

std::string hexBytes(const SmartBytes& bytes) {
    std::string text;
    for (size_t i = bytes.size(); i-- > 0;) text += formatText("%02X", bytes[i]);
    return text;
}

int last(int end) { return end - 1; }

}  // namespace

std::string sataValueText(const SmartBytes& bytes, const SataSelector& slice, int32_t numberBase) {
    if (slice.end > 7 || slice.end <= slice.first || bytes.empty()) return "";
    const size_t width = std::min<size_t>(slice.end - slice.first, bytes.size());
    return numberText(SmartBytes(bytes.begin(), bytes.begin() + width), numberBase, 0);
}

std::string nvmeValueText(const SmartBytes& bytes, int32_t numberBase, bool isString, uint8_t firstCode) {
    if (bytes.empty()) return "";
    if (isString) return std::string(bytes.begin(), std::find(bytes.begin(), bytes.end(), uint8_t{0}));
    if (bytes.size() > 8) return hexBytes(bytes);
    return numberText(bytes, numberBase, firstCode == kSpecialTempC ? -kKelvinOffset : 0);
}

std::string sataLabel(const SataSelector& slice, bool includeReservedByte) {
    int width = slice.end - slice.first;
    if (includeReservedByte && width == 6) width = 7;
    if (width == (includeReservedByte ? 7 : 6)) return formatText("0x%02X", slice.id);
    if (width == 1) return formatText("0x%02X[%d]", slice.id, slice.first);
    return formatText("0x%02X[%d:%d]", slice.id, last(slice.end), slice.first);
}

std::string nvmeLabel(const NvmeSelector& range) { return formatText("%X:%X", last(range.end), range.low); }

// The id unpadded and the range in full, unlike the label; kept exactly: scripts match this text.
std::string sataConflictId(const SataSelector& slice) {
    return formatText("ID: 0x%X[%d:%d]", slice.id, last(slice.end), slice.first);
}

std::string nvmeConflictId(int32_t logPageId, const NvmeSelector& range) {
    return formatText("Offset: [%X]%X:%X", logPageId, last(range.end), range.low);
}

std::string conflictLine(const std::string& conflictId, const std::string& limit) {
    return formatText("  -%s, Limit: %s\n", conflictId.c_str(), limit.c_str());
}

std::string sataCsvHeading(const std::string& description, const SataSelector& slice, bool includeReservedByte) {
    return formatText("(%s) %s", description.c_str(), sataLabel(slice, includeReservedByte).c_str());
}

std::string nvmeCsvHeading(int32_t logPageId, const NvmeSelector& range, const std::string& description) {
    return formatText("(%X)%X:%X %s", logPageId, last(range.end), range.low, description.c_str());
}

}  // namespace zel
