// The layout constants must agree with the Windows headers' structures.
#include <windows.h>
#include <winioctl.h>

#include <cstddef>

#include "disk/StorageLayouts.h"

namespace zel::layout {

static_assert(kIoctlStorageQueryProperty == IOCTL_STORAGE_QUERY_PROPERTY);
static_assert(kIoctlDiskGetDriveGeometryEx == IOCTL_DISK_GET_DRIVE_GEOMETRY_EX);
static_assert(kIoctlStorageGetDeviceNumber == IOCTL_STORAGE_GET_DEVICE_NUMBER);
static_assert(kStorageDeviceProperty == StorageDeviceProperty);
static_assert(kStorageAccessAlignmentProperty == StorageAccessAlignmentProperty);
static_assert(sizeof(STORAGE_PROPERTY_QUERY) == kPropertyQuerySize);

static_assert(offsetof(STORAGE_DEVICE_DESCRIPTOR, VendorIdOffset) == kDescVendorIdOffset);
static_assert(offsetof(STORAGE_DEVICE_DESCRIPTOR, ProductIdOffset) == kDescProductIdOffset);
static_assert(offsetof(STORAGE_DEVICE_DESCRIPTOR, ProductRevisionOffset) == kDescProductRevisionOffset);
static_assert(offsetof(STORAGE_DEVICE_DESCRIPTOR, SerialNumberOffset) == kDescSerialNumberOffset);
static_assert(offsetof(STORAGE_DEVICE_DESCRIPTOR, BusType) == kDescBusType);

static_assert(offsetof(STORAGE_ACCESS_ALIGNMENT_DESCRIPTOR, BytesPerLogicalSector) == kAlignBytesPerLogicalSector);
static_assert(offsetof(STORAGE_ACCESS_ALIGNMENT_DESCRIPTOR, BytesPerPhysicalSector) ==
              kAlignBytesPerPhysicalSector);
static_assert(sizeof(STORAGE_ACCESS_ALIGNMENT_DESCRIPTOR) == kAlignmentDescriptorSize);

static_assert(offsetof(DISK_GEOMETRY_EX, Geometry) + offsetof(DISK_GEOMETRY, BytesPerSector) ==
              kGeometryBytesPerSector);
static_assert(offsetof(DISK_GEOMETRY_EX, DiskSize) == kGeometryDiskSize);
static_assert(sizeof(DISK_GEOMETRY_EX) == kGeometryExSize);

static_assert(sizeof(STORAGE_DEVICE_NUMBER) == kDeviceNumberSize);
static_assert(offsetof(STORAGE_DEVICE_NUMBER, DeviceNumber) == kDeviceNumberDeviceNumber);
static_assert(offsetof(STORAGE_DEVICE_NUMBER, PartitionNumber) == kDeviceNumberPartitionNumber);

}  // namespace zel::layout
