#pragma once

// Every code of the tool's own with its message, in code order: the one list
// the err:: constants and the message table are both made from.
// X(name, code, message)
#define ZEL_ERROR_CODES(X) \
    X(kSuccess, 0x20000000, "Success.") \
    X(kWinIoInit, 0x20000001, "Failed to initialize WinIO module. Please make sure to enter your system to test mode.") \
    X(kNotSupported, 0x20000003, "NOT supported by this tool.") \
    X(kWrongArguments, 0x20000004, "Wrong argument list for this application.") \
    X(kOsDrive, 0x20000005, "This disk is the OS drive. Do NOT do any operation on it!") \
    X(kNoPartition, 0x20000006, "There is no partitions in the disk selected. It must be formatted in advance.") \
    X(kDiskNotFound, 0x20000007, "Disk not found!") \
    X(kFunctionNotSupported, 0x20000008, "The function is not supported on the disk!") \
    X(kProtocolNotImplemented, 0x20000009, "The protocol to the device selected has not been implemented yet.") \
    X(kRescanFailed, 0x2000000A, "Failed to do device rescan via devcon.") \
    X(kEnablePciFailed, 0x2000000B, "Failed to enable PCI device via devcon.") \
    X(kDisablePciFailed, 0x2000000C, "Failed to disable PCI device via devcon.") \
    X(kPreconditionFailed, 0x2000000D, "Failed to precondtion DUT.") \
    X(kLbaOutOfRange, 0x2000000E, "LBA offset is out of range.") \
    X(kStartupFailed, 0x2000000F, "Failed to set start-up action.") \
    X(kFormatFailed, 0x20000010, "Failed to format disk.") \
    X(kCleanFailed, 0x20000011, "Failed to clean disk.") \
    X(kRebootFailed, 0x20000012, "Failed to reboot system.") \
    X(kS3Failed, 0x20000013, "Failed to enter S3.") \
    X(kS4Failed, 0x20000014, "Failed to enter S4.") \
    X(kColdBootFailed, 0x20000015, "Failed to run cold boot.") \
    X(kColdResetFailed, 0x20000016, "Failed to run cold reset.") \
    X(kShutdownFailed, 0x20000017, "Failed to shutdown system.") \
    X(kSubprocessTimeout, 0x20000018, "Reach timeout when running subprocess") \
    X(kThreadTimeout, 0x20000019, "Reach timeout when running thread") \
    X(kBuildDiskList, 0x2000001A, "FAIL - Build disk list") \
    X(kSuspendFailed, 0x2000001B, "FAIL to suspend process") \
    X(kResumeFailed, 0x2000001C, "FAIL to resume process") \
    X(kPciLinkChanged, 0x2000001D, "PCI link changed error") \
    X(kUpdateDriverFailed, 0x2000001E, "Failed to update driver") \
    X(kDeleteDriverFailed, 0x2000001F, "Failed to delete driver") \
    X(kSmartRead, 0x20000100, "Failed to read SMART data.") \
    X(kSmartParse, 0x20000101, "Failed to parse SMART information.") \
    X(kSmartLimitConflict, 0x20000102, "Detect SMART limit conflict.") \
    X(kSmartThresholdExceeded, 0x20000103, "The device has detected a threshold exceeded condition.") \
    X(kPowerCommand, 0x20000110, "Failed to send power on/off command.") \
    X(kPowerCycleFlow, 0x20000111, "Failed in power cycling flow.") \
    X(kPowerOnTimeout, 0x20000112, "Timeout time of finding DUT exceeded during the flow of powering on") \
    X(kPowerSwitchNotFound, 0x20000113, "Power switch not found!") \
    X(kMeasurePower, 0x20000114, "Failed to measure power.") \
    X(kControlVoltage, 0x20000115, "Failed to control voltage.") \
    X(kVoltageCondition, 0x20000116, "Wrong voltage control condition.") \
    X(kD3Hot, 0x20000117, "Failed to set PS D3 hot.") \
    X(kAtaInputsSize, 0x20000120, "Wrong ATA inputs size.") \
    X(kAtaDataSize, 0x20000121, "Wrong ATA data size.") \
    X(kAtaDeviceFault, 0x20000122, "Get ATA device fault status.") \
    X(kAtaErrorStatus, 0x20000123, "Get ATA error status.") \
    X(kScsiStatus, 0x20000124, "SCSI command status error.") \
    X(kNvmeStatus, 0x20000125, "NVMe command status error.") \
    X(kNvmeNotSupported, 0x20000126, "NVMe command not supported") \
    X(kNvmeDwordsNotSupported, 0x20000127, "Nonzero NVMe command dwords 11-15 not supported") \
    X(kNvmeFailed, 0x20000128, "NVMe command failed.") \
    X(kFlushFailed, 0x20000129, "Failed to send flush command.") \
    X(kTrimFailed, 0x2000012A, "Failed to send trim command.") \
    X(kMiscompare, 0x20000130, "Data miscompare.") \
    X(kMustNotMatch, 0x20000131, "Data must not match with input data.") \
    X(kRefillPattern, 0x20000132, "Failed to refill pattern.") \
    X(kRangeTooSmall, 0x20000133, "Test range is too small.") \
    X(kWorkloadUnknownCommand, 0x20000140, "Unknown command in workload file.") \
    X(kWorkloadCommandFailed, 0x20000141, "Failed to execute command in workload file.")
