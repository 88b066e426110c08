// The virtual host's port-I/O driver, answered by its PortIoBench.
#include "vhost/PortIoBench.h"
#include "vhost/VirtualHost.h"

namespace zel {
namespace vhost {

PortIoBench& VirtualHost::portIoBench() {
    if (!portIo_) portIo_ = std::make_unique<PortIoBench>(description_, [this](int number) { return disk(number); });
    return *portIo_;
}

bool VirtualHost::portIoOpen() {
    std::lock_guard<std::recursive_mutex> guard(lock_);
    PortIoBench& bench = portIoBench();
    bench.open = bench.driverInstalled();
    if (!bench.open) ::SetLastError(ERROR_FILE_NOT_FOUND);
    return bench.open;
}

bool VirtualHost::portIoIsOpen() {
    std::lock_guard<std::recursive_mutex> guard(lock_);
    return portIoBench().open;
}

void VirtualHost::portIoClose(bool) {
    std::lock_guard<std::recursive_mutex> guard(lock_);
    portIoBench().open = false;
}

bool VirtualHost::readPort(uint16_t port, uint32_t* value, uint8_t size) {
    std::lock_guard<std::recursive_mutex> guard(lock_);
    return portIoBench().readPort(port, value, size);
}

bool VirtualHost::writePort(uint16_t port, uint32_t value, uint8_t size) {
    const LastErrorOnSuccess keep;  // recording the write touches files
    std::lock_guard<std::recursive_mutex> guard(lock_);
    const bool ok = portIoBench().writePort(port, value, size);
    applyPortTransitions();
    return keep(ok);
}

bool VirtualHost::readPhysicalDword(uint64_t address, uint32_t* value) {
    std::lock_guard<std::recursive_mutex> guard(lock_);
    return portIoBench().readPhysical(address, value);
}

bool VirtualHost::writePhysicalDword(uint64_t address, uint32_t value) {
    std::lock_guard<std::recursive_mutex> guard(lock_);
    return portIoBench().writePhysical(address, value);
}

}  // namespace vhost
}  // namespace zel
