#include "disk/StorageLayouts.h"

namespace zel {
namespace {

std::string stringAt(const uint8_t* data, size_t returned, size_t offsetField) {
    if (offsetField + 4 > returned) return {};
    const uint32_t offset = readLe32(data + offsetField);
    if (offset == 0 || offset >= returned) return {};
    std::string text;
    for (size_t i = offset; i < returned && data[i] != 0; ++i) text.push_back(static_cast<char>(data[i]));
    return text;
}

}  // namespace

uint32_t readLe32(const uint8_t* p) {
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}

uint64_t readLe64(const uint8_t* p) { return uint64_t(readLe32(p)) | uint64_t(readLe32(p + 4)) << 32; }

void writeLe32(uint8_t* p, uint32_t v) {
    for (int i = 0; i < 4; ++i) p[i] = static_cast<uint8_t>(v >> (8 * i));
}

std::vector<uint8_t> makePropertyQuery(uint32_t propertyId) {
    std::vector<uint8_t> query(layout::kPropertyQuerySize, 0);
    writeLe32(query.data(), propertyId);
    return query;
}

DeviceDescriptorFields parseDeviceDescriptor(const uint8_t* data, size_t returned) {
    DeviceDescriptorFields fields;
    fields.vendor = stringAt(data, returned, layout::kDescVendorIdOffset);
    fields.product = stringAt(data, returned, layout::kDescProductIdOffset);
    fields.revision = stringAt(data, returned, layout::kDescProductRevisionOffset);
    fields.serial = stringAt(data, returned, layout::kDescSerialNumberOffset);
    if (returned >= layout::kDescBusType + 4) fields.busType = readLe32(data + layout::kDescBusType);
    return fields;
}

bool parseAlignment(const uint8_t* data, size_t returned, uint32_t* logical, uint32_t* physical) {
    if (returned < layout::kAlignBytesPerPhysicalSector + 4) return false;
    *logical = readLe32(data + layout::kAlignBytesPerLogicalSector);
    *physical = readLe32(data + layout::kAlignBytesPerPhysicalSector);
    return true;
}

bool parseGeometryEx(const uint8_t* data, size_t returned, uint64_t* diskSize, uint32_t* bytesPerSector) {
    if (returned != layout::kGeometryExSize) return false;
    *diskSize = readLe64(data + layout::kGeometryDiskSize);
    *bytesPerSector = readLe32(data + layout::kGeometryBytesPerSector);
    return true;
}

DeviceNumberFields parseDeviceNumber(const uint8_t* data) {
    return {readLe32(data), readLe32(data + layout::kDeviceNumberDeviceNumber),
            readLe32(data + layout::kDeviceNumberPartitionNumber)};
}

}  // namespace zel
