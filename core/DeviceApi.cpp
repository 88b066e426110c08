#include "core/DeviceApi.h"

#include <atomic>

#include "core/Win32DeviceApi.h"

namespace zel {
namespace {

DeviceApi* createSelected() {
    static Win32DeviceApi win32;
    return &win32;
}

std::atomic<DeviceApi*>& current() {
    static std::atomic<DeviceApi*> api{createSelected()};
    return api;
}

}  // namespace

DeviceApi& deviceApi() { return *current().load(); }

DeviceApi* replaceDeviceApi(DeviceApi* api) { return current().exchange(api); }

}  // namespace zel
