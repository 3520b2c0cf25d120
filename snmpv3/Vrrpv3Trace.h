// SPDX-License-Identifier: Apache-2.0
#pragma once
// The VRRPv3-MIB module's trace handle: level 1 for set-up, 2 per request, 4 for notifications.
#include "kiv/Trace.h"

namespace Vrrpv3Snmp {

inline Kiv::TraceHandle& trace() {
  static Kiv::TraceHandle& handle = Kiv::traceHandle("Vrrpv3Snmp");
  return handle;
}

}  // namespace Vrrpv3Snmp
