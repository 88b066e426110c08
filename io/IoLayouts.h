#pragma once

#include <cstddef>
#include <cstdint>

namespace zel {

// Data-set management (trim) request as Windows reads it: the header, then
// the ranges at an 8-byte aligned offset.
namespace dsm {
constexpr uint32_t kIoctl = 0x2D9404;  // IOCTL_STORAGE_MANAGE_DATA_SET_ATTRIBUTES
constexpr uint32_t kActionTrim = 1;

#pragma pack(push, 1)
struct Header {
    uint32_t size = sizeof(Header);
    uint32_t action = kActionTrim;
    uint32_t flags = 0;
    uint32_t parameterBlockOffset = 0;
    uint32_t parameterBlockLength = 0;
    uint32_t rangesOffset = 0;
    uint32_t rangesLength = 0;
};

struct Range {
    int64_t startingOffset = 0;
    uint64_t lengthInBytes = 0;
};
#pragma pack(pop)

static_assert(sizeof(Header) == 28, "DEVICE_MANAGE_DATA_SET_ATTRIBUTES");
static_assert(offsetof(Header, rangesOffset) == 20, "DataSetRangesOffset");
static_assert(sizeof(Range) == 16, "DEVICE_DATA_SET_RANGE");
constexpr uint32_t kRangesOffset = 32;  // the header rounded up to the ranges' alignment
}  // namespace dsm

}  // namespace zel
