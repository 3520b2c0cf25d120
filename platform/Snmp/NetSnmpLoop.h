// SPDX-License-Identifier: Apache-2.0
#pragma once
// The process's event loop: net-snmp's own, which the agent runs (agent_check_and_process in
// fhrp-snmpd, snmpd's main loop for the plug-in). Descriptors become net-snmp readfds and timers
// its alarms, so our work and the agent's requests share the one thread.
//
// Every callback is timed: one that holds the loop longer than kSlowSeconds is logged with its
// name, wall and CPU time, because while it runs no request is answered. A callback's exception
// is logged and goes no further: nothing may unwind into net-snmp's C frames.
#include "platform/Loop/EventLoop.h"

namespace Snmp {

constexpr double kSlowSeconds = 2.0;

Loop::EventLoop& eventLoop();

}  // namespace Snmp
