// SPDX-License-Identifier: Apache-2.0
#include "host/Watchdog.h"

#include <cstdint>

#include <systemd/sd-daemon.h>

#include "platform/Snmp/NetSnmpLoop.h"

namespace Host {

void startWatchdog() {
  std::uint64_t usec = 0;
  if (sd_watchdog_enabled(0, &usec) <= 0 || usec == 0) return;
  Snmp::eventLoop().timerIs(static_cast<double>(usec) / 2e6, true, "watchdog",
                            [] { sd_notify(0, "WATCHDOG=1"); });
}

}  // namespace Host
