// SPDX-License-Identifier: Apache-2.0
#pragma once
// fhrp-snmpd's log sink. Every line, net-snmp's and the product's (platform/Log.h, which writes
// through net-snmp's log), goes to stderr with the one prefix "fhrp-snmpd: ", and with its
// priority when stderr is the journal. While the agent starts, lines are held back: a start
// that fails shows only its reason, and a line net-snmp logs as an error while it reads its
// configuration (a rejected --config line, a trap sink it cannot create) is such a reason.
//
// Only main and the agent's set-up use this; everything else writes through Log::.
#include "kiv/Types.h"

namespace Host::DaemonLog {

// Takes over net-snmp's log, holding lines until release(). Again after net-snmp shut down,
// which drops its log callbacks.
void install();
// While net-snmp reads its configuration from now on, the first error line, or a warning about
// a line of `configFile` (--config), is kept as the start's error.
void watchConfiguration(const Kiv::String8& configFile);
// That error without net-snmp's decoration; empty if none.
const Kiv::String8& startError();
// Writes out the held lines; from now on every line is written as it comes.
void release();
// Forgets the held lines, for a start that fails: its reason, logged next, is its only line.
void discard();

}  // namespace Host::DaemonLog
