#pragma once
// The one place that knows where the external programs of the integration tests live.
#include <string>

namespace Harness {

// Absolute path of a program: net-snmp's tools as found by CMake, anything else (and a tool
// that was missing at configure time) through PATH plus /usr/sbin and /sbin, which a non-root
// PATH often lacks although snmpd and snmptrapd live there. Throws std::runtime_error naming
// the Debian package to install when the program is nowhere to be found.
std::string toolPath(const std::string& name);

}  // namespace Harness
