#pragma once

#include <cstdint>

namespace zel {

// The command opcodes the tool sends or judges, one name each, by command
// set. Feature codes that pick a subcommand sit with their command.

namespace ataop {
inline constexpr uint8_t kDataSetManagement = 0x06;
inline constexpr uint8_t kReadSectors = 0x20;
inline constexpr uint8_t kReadSectorsExt = 0x24;
inline constexpr uint8_t kReadDmaExt = 0x25;
inline constexpr uint8_t kReadMultipleExt = 0x29;
inline constexpr uint8_t kWriteSectors = 0x30;
inline constexpr uint8_t kWriteSectorsExt = 0x34;
inline constexpr uint8_t kWriteDmaExt = 0x35;
inline constexpr uint8_t kWriteMultipleExt = 0x39;
inline constexpr uint8_t kWriteDmaFuaExt = 0x3D;
inline constexpr uint8_t kReadLogDmaExt = 0x47;
inline constexpr uint8_t kWriteLogDmaExt = 0x57;
inline constexpr uint8_t kDownloadMicrocodeDma = 0x93;
inline constexpr uint8_t kSmart = 0xB0;
inline constexpr uint8_t kDeviceConfigurationOverlay = 0xB1;
inline constexpr uint8_t kReadMultiple = 0xC4;
inline constexpr uint8_t kWriteMultiple = 0xC5;
inline constexpr uint8_t kReadDma = 0xC8;
inline constexpr uint8_t kWriteDma = 0xCA;
inline constexpr uint8_t kStandbyImmediate = 0xE0;
inline constexpr uint8_t kFlushCache = 0xE7;
inline constexpr uint8_t kFlushCacheExt = 0xEA;
inline constexpr uint8_t kIdentifyDevice = 0xEC;

// FEATURE of SMART and DEVICE CONFIGURATION OVERLAY.
inline constexpr uint8_t kSmartReadData = 0xD0;
inline constexpr uint8_t kSmartWriteLog = 0xD6;
inline constexpr uint8_t kSmartReturnStatus = 0xDA;
inline constexpr uint8_t kDcoIdentify = 0xC2;
// LBA of every SMART command: mid 4Fh, high C2h.
inline constexpr uint64_t kSmartSignature = 0xC24F00;
// DATA SET MANAGEMENT FEATURE bit 0: TRIM.
inline constexpr uint16_t kTrim = 0x0001;
}  // namespace ataop

namespace scsiop {
inline constexpr uint8_t kInquiry = 0x12;
inline constexpr uint8_t kStartStopUnit = 0x1B;
inline constexpr uint8_t kVerify10 = 0x2F;
inline constexpr uint8_t kSynchronizeCache10 = 0x35;
inline constexpr uint8_t kVariableLength = 0x7F;
inline constexpr uint8_t kAtaPassThrough16 = 0x85;
inline constexpr uint8_t kVerify16 = 0x8F;
inline constexpr uint8_t kAtaPassThrough12 = 0xA1;
inline constexpr uint8_t kVerify12 = 0xAF;

// Service actions of the variable-length CDB.
inline constexpr uint16_t kRead32 = 0x0009;
inline constexpr uint16_t kVerify32 = 0x000A;
}  // namespace scsiop

namespace nvmeadmin {
inline constexpr uint8_t kGetLogPage = 0x02;
inline constexpr uint8_t kIdentify = 0x06;
inline constexpr uint8_t kGetFeatures = 0x0A;
inline constexpr uint8_t kFirstVendor = 0xC0;
}  // namespace nvmeadmin

namespace nvmeio {
inline constexpr uint8_t kFlush = 0x00;
inline constexpr uint8_t kCompare = 0x05;
inline constexpr uint8_t kDatasetManagement = 0x09;
inline constexpr uint8_t kFirstVendor = 0x80;
}  // namespace nvmeio

}  // namespace zel
