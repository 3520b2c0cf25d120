// SPDX-License-Identifier: Apache-2.0
#pragma once
// The product's log: the one way to write a line for the operator, in the daemon and in the
// plug-in alike. Lines go through net-snmp's log, so they land wherever the hosting agent logs
// (fhrp-snmpd's stderr or the journal, snmpd's own log). Each program has one prefix: inside a
// stock snmpd the plug-in sets "fhrp-snmp: " to tell its lines from snmpd's; fhrp-snmpd
// prefixes every line itself, net-snmp's included, and sets none here. Trace handles stay the
// separate channel for debugging.
#include <syslog.h>  // the priorities: LOG_ERR, LOG_WARNING, LOG_NOTICE, LOG_INFO

#include "kiv/Types.h"

namespace Log {

void prefixIs(const char* prefix);
// One line at a syslog priority; `text` carries no newline.
void line(int priority, const Kiv::String8& text);

inline void error(const Kiv::String8& text) {
  line(LOG_ERR, text);
}
inline void warning(const Kiv::String8& text) {
  line(LOG_WARNING, text);
}
inline void notice(const Kiv::String8& text) {
  line(LOG_NOTICE, text);
}
inline void info(const Kiv::String8& text) {
  line(LOG_INFO, text);
}

}  // namespace Log
