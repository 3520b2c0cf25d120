// SPDX-License-Identifier: Apache-2.0
#pragma once
// fhrp-snmpd under systemd (Type=notify; all of it does nothing elsewhere). The status line goes
// to systemd as STATUS=, and READY=1 tells it that the units ordered after fhrp-snmpd may start:
// once the agent serves, or after a short grace period while it still waits for something
// outside it (a late AgentX master, a --listen address not yet assigned), which STATUS= then
// names. A start never holds the boot for what may come much later, and a master that answers
// at once still has the MIB registered before `systemctl start` returns. The log's "ready on"
// line keeps its meaning: it comes only once the agent serves.
#include "kiv/Types.h"

namespace Host::Systemd {

constexpr double kGraceSeconds = 2.0;

// From now on the status line goes as STATUS=, and READY=1 after kGraceSeconds of the event
// loop unless ready() came first.
void start();
// The agent serves on `where`: the status says so, with READY=1 unless it went already.
void ready(const Kiv::String8& where);
// The agent's status while it serves on `where`.
Kiv::String8 serving(const Kiv::String8& where);

}  // namespace Host::Systemd
