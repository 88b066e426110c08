#include "core/DeviceApi.h"

#include <atomic>
#include <cstdlib>
#include <memory>

#include "core/Win32DeviceApi.h"
#include "vhost/VirtualHost.h"

namespace zel {
namespace {

// ZELCLI_VHOST names a host description: the run talks to that virtual
// host. A description that cannot be loaded is reported once and leaves a
// host without disks, never the real machine.
DeviceApi* createSelected() {
    const char* description = std::getenv("ZELCLI_VHOST");
    if (description && *description) {
        static std::unique_ptr<DeviceApi> host = vhost::createVirtualHost(description);
        if (!host) host = vhost::createUnloadableHost();
        return host.get();
    }
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
