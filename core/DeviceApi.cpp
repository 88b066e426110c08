#include "core/DeviceApi.h"

#include <atomic>

#include "core/Clock.h"
#include "core/Win32DeviceApi.h"

namespace zel {
namespace {

std::atomic<DeviceApi*>& current() {
    static Win32DeviceApi win32;
    static std::atomic<DeviceApi*> api{&win32};
    return api;
}

}  // namespace

DeviceApi& deviceApi() { return *current().load(); }

uint64_t hostClockMilliseconds() {
    return nowMilliseconds() + static_cast<uint64_t>(deviceApi().clockOffsetSeconds() * 1000);
}

DeviceApi* replaceDeviceApi(DeviceApi* api) { return current().exchange(api); }

}  // namespace zel
