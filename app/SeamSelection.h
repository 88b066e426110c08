#pragma once

namespace zel {

// Installs the process-wide kernel seam for this run: the virtual test host
// when the environment variable ZELCLI_VHOST names a host description, else
// the real Windows calls. Called once, after logging is set up, so a
// description that cannot be loaded is reported in the run's log.
void selectDeviceApi();

// Under the virtual host, the run's first log line: one WARNING naming the
// description and saying that no real device is touched. Its console copy
// goes to standard error, so a script reading standard output (--monitor,
// the driver-update steps) gets its bare results alone.
void announceVirtualHost();

}  // namespace zel
