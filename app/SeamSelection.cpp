#include "app/SeamSelection.h"

#include <cstdlib>
#include <memory>

#include "core/DeviceApi.h"
#include "vhost/VirtualHost.h"

namespace zel {

// A description that cannot be loaded is reported by the loader and leaves a
// host without disks, never the real machine.
void selectDeviceApi() {
    const char* description = std::getenv("ZELCLI_VHOST");
    if (!description || !*description) return;
    static std::unique_ptr<DeviceApi> host = vhost::createVirtualHost(description);
    if (!host) host = vhost::createUnloadableHost();
    replaceDeviceApi(host.get());
}

}  // namespace zel
