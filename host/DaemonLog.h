#pragma once
// fhrp-snmpd's log: every line, net-snmp's and ours, goes to stderr with the one prefix
// "fhrp-snmpd: ". While the agent starts, lines are held back: a start that fails shows only
// its reason, and a line net-snmp logs as an error while it reads its configuration (a
// rejected --config line, a trap sink it cannot create) is such a reason.
#include <functional>

#include "kiv/Types.h"

namespace Host::DaemonLog {

// Takes over net-snmp's logging; lines are held until started(). `configFile` is --config.
void install(const Kiv::String8& configFile);
// Writes out the held lines; from now on every line is written as it comes.
void started();
// The first error logged since install(), without net-snmp's decoration; empty if none.
const Kiv::String8& startError();
// Sees every complete line first, with the errno of the moment it was logged; a filter that
// returns true swallows the line.
void filterIs(std::function<bool(int priority, const Kiv::String8& line, int error)> filter);
// Writes one line now, held lines first.
void write(const Kiv::String8& line);

}  // namespace Host::DaemonLog
