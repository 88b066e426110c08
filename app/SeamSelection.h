#pragma once

namespace zel {

// Installs the process-wide kernel seam for this run: the virtual test host
// when the environment variable ZELCLI_VHOST names a host description, else
// the real Windows calls. Called once, after logging is set up, so a
// description that cannot be loaded is reported in the run's log.
void selectDeviceApi();

}  // namespace zel
