#include "app/SeamSelection.h"

#include <cstdlib>
#include <memory>

#include "core/DeviceApi.h"
#include "core/Logger.h"
#include "vhost/VirtualHost.h"

namespace zel {
namespace {

const char* hostDescription() {
    const char* description = std::getenv("ZELCLI_VHOST");
    return description && *description ? description : nullptr;
}

}  // namespace

void announceVirtualHost() {
    const char* description = hostDescription();
    if (!description) return;
    Logger::instance().log(kWarning,
                           formatText("[ZelCli] Virtual test host %s (ZELCLI_VHOST): no real device is touched", description),
                           ConsoleStream::Error);
}

// A description that cannot be loaded is reported by the loader and leaves a
// host without disks, never the real machine.
void selectDeviceApi() {
    const char* description = hostDescription();
    if (!description) return;
    static std::unique_ptr<DeviceApi> host = vhost::createVirtualHost(description);
    if (!host) host = vhost::createUnloadableHost();
    replaceDeviceApi(host.get());
}

}  // namespace zel
