// SPDX-License-Identifier: Apache-2.0
#pragma once
// systemd's watchdog (WatchdogSec= in the unit), fed from the event loop itself: a loop that no
// longer turns stops the pings, and systemd then kills and restarts the daemon.

namespace Host {

// Pings at half the interval systemd asked for (WATCHDOG_USEC, for this process), so that one
// late ping still arrives in time; does nothing when no watchdog is asked for.
void startWatchdog();

}  // namespace Host
