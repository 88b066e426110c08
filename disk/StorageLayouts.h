#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace zel {

// Byte layouts of the storage I/O control records the list build reads.
// Checked against the Windows headers in StorageLayoutsCheck.cpp.
namespace layout {
constexpr uint32_t kIoctlStorageQueryProperty = 0x2D1400;
constexpr uint32_t kIoctlDiskGetDriveGeometryEx = 0x700A0;
constexpr uint32_t kIoctlStorageGetDeviceNumber = 0x2D1080;

constexpr uint32_t kStorageDeviceProperty = 0;
constexpr uint32_t kStorageAccessAlignmentProperty = 6;
constexpr size_t kPropertyQuerySize = 12;
constexpr size_t kDescriptorBufferSize = 1024;

constexpr size_t kDescVendorIdOffset = 12;
constexpr size_t kDescProductIdOffset = 16;
constexpr size_t kDescProductRevisionOffset = 20;
constexpr size_t kDescSerialNumberOffset = 24;
constexpr size_t kDescBusType = 28;

constexpr size_t kAlignBytesPerLogicalSector = 16;
constexpr size_t kAlignBytesPerPhysicalSector = 20;
constexpr size_t kAlignmentDescriptorSize = 28;

constexpr size_t kGeometryBytesPerSector = 20;
constexpr size_t kGeometryDiskSize = 24;
constexpr size_t kGeometryExSize = 40;

constexpr size_t kDeviceNumberSize = 12;
constexpr size_t kDeviceNumberDeviceNumber = 4;
constexpr size_t kDeviceNumberPartitionNumber = 8;
}  // namespace layout

struct DeviceDescriptorFields {
    std::string vendor, product, revision, serial;
    uint32_t busType = 0;
};

struct DeviceNumberFields {
    uint32_t deviceType = 0, deviceNumber = 0, partitionNumber = 0;
};

std::vector<uint8_t> makePropertyQuery(uint32_t propertyId);

// Strings are NUL-terminated at their offsets; an offset of 0 (or outside the
// returned bytes) leaves the string empty.
DeviceDescriptorFields parseDeviceDescriptor(const uint8_t* data, size_t returned);
bool parseAlignment(const uint8_t* data, size_t returned, uint32_t* logical, uint32_t* physical);
bool parseGeometryEx(const uint8_t* data, size_t returned, uint64_t* diskSize, uint32_t* bytesPerSector);
DeviceNumberFields parseDeviceNumber(const uint8_t* data);

uint32_t readLe32(const uint8_t* p);
uint64_t readLe64(const uint8_t* p);
void writeLe32(uint8_t* p, uint32_t v);

}  // namespace zel
