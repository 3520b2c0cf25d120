#pragma once
// The product's own log lines, through net-snmp's log so that they land wherever the hosting
// agent logs. Inside a stock snmpd they carry the prefix "fhrp-snmp: " (set by the plug-in) to
// tell them from snmpd's own; fhrp-snmpd prefixes every line itself and sets no prefix here.
#include <syslog.h>  // the priorities: LOG_ERR, LOG_WARNING, LOG_INFO

#include "kiv/Types.h"

namespace Snmp {

void logPrefixIs(const char* prefix);
// One line; `text` carries no newline.
void logLine(int priority, const Kiv::String8& text);

}  // namespace Snmp
