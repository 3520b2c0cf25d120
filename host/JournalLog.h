#pragma once
// fhrp-snmpd's log goes to stderr; under systemd stderr is the journal, which stamps every line
// itself and takes its priority from a "<N>" prefix.
namespace Host {

// net-snmp's log to stderr: plain lines on a terminal or in a file; under the journal each line
// carries its syslog priority and never a timestamp of its own.
void logToStderr();

}  // namespace Host
