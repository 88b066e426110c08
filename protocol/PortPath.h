#pragma once

#include <cstdint>
#include <string>

namespace zel {

// "\\.\SCSI%d:" of the port a physical drive sits on, from
// IOCTL_SCSI_GET_ADDRESS; empty (and the out-parameters untouched) when the
// drive cannot be opened or asked.
std::string findPortPath(uint32_t diskNumber, uint8_t* portNumber = nullptr, uint8_t* pathId = nullptr,
                         uint8_t* targetId = nullptr, uint8_t* lun = nullptr);

}  // namespace zel
