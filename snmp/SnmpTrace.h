// SPDX-License-Identifier: Apache-2.0
#pragma once
// The module's trace handle. Every hook call traces, so the handle is looked up once.
#include "kiv/Trace.h"

namespace Snmp {

inline Kiv::TraceHandle& snmpTrace() {
  static Kiv::TraceHandle& handle = Kiv::traceHandle("Snmp");
  return handle;
}

}  // namespace Snmp
