#include "power/PowerBoards.h"

#include <malloc.h>

#include <array>
#include <cstring>
#include <memory>

#include "core/DeviceApi.h"
#include "core/DriveOpener.h"
#include "core/ErrorCodes.h"
#include "disk/DiskBase.h"

namespace zel {
namespace {

constexpr DWORD kNoBuffering = FILE_FLAG_NO_BUFFERING;
static_assert(kNoBuffering == 0x20000000, "the board is opened unbuffered");

// Unbuffered writes want a buffer aligned to the sector.
struct AlignedFree {
    void operator()(void* p) const { _aligned_free(p); }
};

bool failWithWindowsError() {
    const DWORD error = GetLastError();
    SetLastError(error);
    setLastError(error);
    return false;
}

}  // namespace

bool PcieHX410V1::power(bool on) {
    const std::array<uint8_t, kMarkerSectorSize> marker = markerSector(on);
    std::unique_ptr<void, AlignedFree> buffer(_aligned_malloc(kMarkerSectorSize, 4096));
    if (!buffer) return failWithWindowsError();
    std::memcpy(buffer.get(), marker.data(), marker.size());
    SharedHandle drive = openPhysicalDrive(static_cast<uint32_t>(board().number()), kNoBuffering);
    if (!drive) return failWithWindowsError();
    LARGE_INTEGER offset;
    offset.QuadPart = kMarkerSectorOffset;
    SetLastError(0);
    if (!deviceApi().setFilePointerEx(drive.get(), offset, nullptr, FILE_BEGIN) && GetLastError() != 0)
        return failWithWindowsError();
    DWORD written = 0;
    if (!deviceApi().writeFile(drive.get(), buffer.get(), kMarkerSectorSize, &written, nullptr))
        return failWithWindowsError();
    return true;
}

bool PcieHX410V2::power(bool on) {
    std::array<uint8_t, 16> answer{};
    return send(boardcdb::pcieV2Power(on), answer.data());
}

bool PcieHX410V2::measure(double* voltage, double* current, double* power) {
    std::array<uint8_t, 512> answer{};
    if (!send(boardcdb::pcieV2Measure(), answer.data())) return false;
    const PowerMeasurement m = measurementFromBytes(answer.data());
    *voltage = m.millivolts;
    *current = m.milliamps;
    *power = m.milliwatts;
    return true;
}

bool PcieHX410V2::setVoltage(uint32_t millivolts) {
    std::array<uint8_t, 16> answer{};
    return send(boardcdb::pcieV2Voltage(static_cast<uint16_t>(millivolts)), answer.data());
}

}  // namespace zel
