#pragma once

#include <windows.h>

#include <cstdint>
#include <memory>

namespace zel {

// A device handle shared by its users and closed through the seam when the
// last reference goes.
using SharedHandle = std::shared_ptr<void>;

// Opens "\\.\PhysicalDrive%d" for reading and writing, shared for both, with
// the caller's flags word. Null on failure with the Windows last error left
// as CreateFileA set it.
SharedHandle openPhysicalDrive(uint32_t diskNumber, DWORD flags);

// Takes ownership of a handle from the seam; null for INVALID_HANDLE_VALUE.
SharedHandle adoptHandle(HANDLE handle);

}  // namespace zel
