#include "core/ErrorCodes.h"

#include <atomic>

#include "core/TextFormat.h"

#ifdef _WIN32
#include <windows.h>
#endif

namespace zel {
namespace {

std::atomic<ErrorCode> g_lastError{0};

const std::map<ErrorCode, const char*> kTable = {
    {0x20000000, "Success."},
    {0x20000001, "Failed to initialize WinIO module. Please make sure to enter your system to test mode."},
    {0x20000003, "NOT supported by this tool."},
    {0x20000004, "Wrong argument list for this application."},
    {0x20000005, "This disk is the OS drive. Do NOT do any operation on it!"},
    {0x20000006, "There is no partitions in the disk selected. It must be formatted in advance."},
    {0x20000007, "Disk not found!"},
    {0x20000008, "The function is not supported on the disk!"},
    {0x20000009, "The protocol to the device selected has not been implemented yet."},
    {0x2000000A, "Failed to do device rescan via devcon."},
    {0x2000000B, "Failed to enable PCI device via devcon."},
    {0x2000000C, "Failed to disable PCI device via devcon."},
    {0x2000000D, "Failed to precondtion DUT."},
    {0x2000000E, "LBA offset is out of range."},
    {0x2000000F, "Failed to set start-up action."},
    {0x20000010, "Failed to format disk."},
    {0x20000011, "Failed to clean disk."},
    {0x20000012, "Failed to reboot system."},
    {0x20000013, "Failed to enter S3."},
    {0x20000014, "Failed to enter S4."},
    {0x20000015, "Failed to run cold boot."},
    {0x20000016, "Failed to run cold reset."},
    {0x20000017, "Failed to shutdown system."},
    {0x20000018, "Reach timeout when running subprocess"},
    {0x20000019, "Reach timeout when running thread"},
    {0x2000001A, "FAIL - Build disk list"},
    {0x2000001B, "FAIL to suspend process"},
    {0x2000001C, "FAIL to resume process"},
    {0x2000001D, "PCI link changed error"},
    {0x2000001E, "Failed to update driver"},
    {0x2000001F, "Failed to delete driver"},
    {0x20000100, "Failed to read SMART data."},
    {0x20000101, "Failed to parse SMART information."},
    {0x20000102, "Detect SMART limit conflict."},
    {0x20000103, "The device has detected a threshold exceeded condition."},
    {0x20000110, "Failed to send power on/off command."},
    {0x20000111, "Failed in power cycling flow."},
    {0x20000112, "Timeout time of finding DUT exceeded during the flow of powering on"},
    {0x20000113, "Power switch not found!"},
    {0x20000114, "Failed to measure power."},
    {0x20000115, "Failed to control voltage."},
    {0x20000116, "Wrong voltage control condition."},
    {0x20000117, "Failed to set PS D3 hot."},
    {0x20000120, "Wrong ATA inputs size."},
    {0x20000121, "Wrong ATA data size."},
    {0x20000122, "Get ATA device fault status."},
    {0x20000123, "Get ATA error status."},
    {0x20000124, "SCSI command status error."},
    {0x20000125, "NVMe command status error."},
    {0x20000126, "NVMe command not supported"},
    {0x20000127, "Nonzero NVMe command dwords 11-15 not supported"},
    {0x20000128, "NVMe command failed."},
    {0x20000129, "Failed to send flush command."},
    {0x2000012A, "Failed to send trim command."},
    {0x20000130, "Data miscompare."},
    {0x20000131, "Data must not match with input data."},
    {0x20000132, "Failed to refill pattern."},
    {0x20000133, "Test range is too small."},
    {0x20000140, "Unknown command in workload file."},
    {0x20000141, "Failed to execute command in workload file."},
};

std::string systemMessage(ErrorCode code) {
#ifdef _WIN32
    char* buffer = nullptr;
    const DWORD flags = FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM |
                        FORMAT_MESSAGE_IGNORE_INSERTS;
    FormatMessageA(flags, nullptr, code, 0, reinterpret_cast<LPSTR>(&buffer), 0, nullptr);
    std::string text = buffer ? buffer : "";
    if (buffer) LocalFree(buffer);
    return trim(text);
#else
    (void)code;
    return "";
#endif
}

}  // namespace

const std::map<ErrorCode, const char*>& errorTable() { return kTable; }

std::string errorText(ErrorCode code) {
    if (code & err::kOwnBit) {
        auto it = kTable.lower_bound(code);
        if (it != kTable.end() && it->first == code)
            return formatText("(LE=0x%X, %s)", code, it->second);
        return formatText("(LE=0x%X)", code);
    }
    return formatText("(LE=0x%X, %s)", code, systemMessage(code).c_str());
}

void setLastError(ErrorCode code) {
    g_lastError = code;
#ifdef _WIN32
    ::SetLastError(code);
#endif
}

ErrorCode lastError() { return g_lastError; }

ErrorCode takeSystemLastError() {
#ifdef _WIN32
    ErrorCode code = ::GetLastError();
#else
    ErrorCode code = g_lastError;
#endif
    setLastError(code);
    return code;
}

}  // namespace zel
