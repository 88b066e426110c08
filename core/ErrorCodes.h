#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace zel {

// 0 is success; bit 29 marks the tool's own codes, anything else is a
// Windows system error code passed through unchanged.
using ErrorCode = uint32_t;

namespace err {
constexpr ErrorCode kOk = 0;
constexpr ErrorCode kOwnBit = 0x20000000;
constexpr ErrorCode kSuccess = 0x20000000;
constexpr ErrorCode kWinIoInit = 0x20000001;
constexpr ErrorCode kNotSupported = 0x20000003;
constexpr ErrorCode kWrongArguments = 0x20000004;
constexpr ErrorCode kOsDrive = 0x20000005;
constexpr ErrorCode kNoPartition = 0x20000006;
constexpr ErrorCode kDiskNotFound = 0x20000007;
constexpr ErrorCode kFunctionNotSupported = 0x20000008;
constexpr ErrorCode kProtocolNotImplemented = 0x20000009;
constexpr ErrorCode kRescanFailed = 0x2000000A;
constexpr ErrorCode kEnablePciFailed = 0x2000000B;
constexpr ErrorCode kDisablePciFailed = 0x2000000C;
constexpr ErrorCode kPreconditionFailed = 0x2000000D;
constexpr ErrorCode kLbaOutOfRange = 0x2000000E;
constexpr ErrorCode kStartupFailed = 0x2000000F;
constexpr ErrorCode kFormatFailed = 0x20000010;
constexpr ErrorCode kCleanFailed = 0x20000011;
constexpr ErrorCode kRebootFailed = 0x20000012;
constexpr ErrorCode kS3Failed = 0x20000013;
constexpr ErrorCode kS4Failed = 0x20000014;
constexpr ErrorCode kColdBootFailed = 0x20000015;
constexpr ErrorCode kColdResetFailed = 0x20000016;
constexpr ErrorCode kShutdownFailed = 0x20000017;
constexpr ErrorCode kSubprocessTimeout = 0x20000018;
constexpr ErrorCode kThreadTimeout = 0x20000019;
constexpr ErrorCode kBuildDiskList = 0x2000001A;
constexpr ErrorCode kSuspendFailed = 0x2000001B;
constexpr ErrorCode kResumeFailed = 0x2000001C;
constexpr ErrorCode kPciLinkChanged = 0x2000001D;
constexpr ErrorCode kUpdateDriverFailed = 0x2000001E;
constexpr ErrorCode kDeleteDriverFailed = 0x2000001F;
constexpr ErrorCode kSmartRead = 0x20000100;
constexpr ErrorCode kSmartParse = 0x20000101;
constexpr ErrorCode kSmartLimitConflict = 0x20000102;
constexpr ErrorCode kSmartThresholdExceeded = 0x20000103;
constexpr ErrorCode kPowerCommand = 0x20000110;
constexpr ErrorCode kPowerCycleFlow = 0x20000111;
constexpr ErrorCode kPowerOnTimeout = 0x20000112;
constexpr ErrorCode kPowerSwitchNotFound = 0x20000113;
constexpr ErrorCode kMeasurePower = 0x20000114;
constexpr ErrorCode kControlVoltage = 0x20000115;
constexpr ErrorCode kVoltageCondition = 0x20000116;
constexpr ErrorCode kD3Hot = 0x20000117;
constexpr ErrorCode kAtaInputsSize = 0x20000120;
constexpr ErrorCode kAtaDataSize = 0x20000121;
constexpr ErrorCode kAtaDeviceFault = 0x20000122;
constexpr ErrorCode kAtaErrorStatus = 0x20000123;
constexpr ErrorCode kScsiStatus = 0x20000124;
constexpr ErrorCode kNvmeStatus = 0x20000125;
constexpr ErrorCode kNvmeNotSupported = 0x20000126;
constexpr ErrorCode kNvmeDwordsNotSupported = 0x20000127;
constexpr ErrorCode kNvmeFailed = 0x20000128;
constexpr ErrorCode kFlushFailed = 0x20000129;
constexpr ErrorCode kTrimFailed = 0x2000012A;
constexpr ErrorCode kMiscompare = 0x20000130;
constexpr ErrorCode kMustNotMatch = 0x20000131;
constexpr ErrorCode kRefillPattern = 0x20000132;
constexpr ErrorCode kRangeTooSmall = 0x20000133;
constexpr ErrorCode kWorkloadUnknownCommand = 0x20000140;
constexpr ErrorCode kWorkloadCommandFailed = 0x20000141;
// The exist command's answer for a missing disk; outside the own code space.
constexpr ErrorCode kExistMissing = 0xC0380011;
}  // namespace err

const std::map<ErrorCode, const char*>& errorTable();

// "(LE=0x%X, text)" for known own codes and system codes, "(LE=0x%X)" for
// own codes without a row.
std::string errorText(ErrorCode code);

// Stores the code process-wide and in the calling thread's Windows last error.
void setLastError(ErrorCode code);
ErrorCode lastError();

// Takes the thread's Windows last error and stores it as the tool's as well.
ErrorCode takeSystemLastError();

}  // namespace zel
