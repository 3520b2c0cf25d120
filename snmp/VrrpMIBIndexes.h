// SPDX-License-Identifier: Apache-2.0
#pragma once
// The index parts the two VRRP-MIB tables share: ifIndex and vrrpOperVrId, and for the
// association table vrrpAssoIpAddr. Reading them from a GETNEXT hint and writing a row's
// index bindings follow one pattern; only the table names in the messages differ.
#include "kiv/Types.h"
#include "lirex/IpAddr.h"
#include "platform/Snmp/NetSnmp.h"

namespace VrrpMIBImpl {

// The components a hint supplied, in index order. A component that was refused keeps
// its zero value.
struct HintValues {
  S32 ifIndex = 0;
  S32 vrId = 0;
  Lirex::IpAddr ipAddr;
};

// Reads the first `needed` components (2 or 3) of a hint's index bindings into values and
// returns how many were accepted. Stops at a missing binding, and at a binding of the wrong
// type unless it is the first; a value out of range is traced and not counted. `table`
// names the table in the messages.
int parseHint(const char* table, const netsnmp_variable_list* indexes, int needed,
              HintValues& values);

// Sets the first two index bindings to a row's ifIndex and vrId, tracing them under
// `helper`, and returns the second binding (null when the list is shorter).
netsnmp_variable_list* writeVrrpIndex(const char* helper, S32 ifIndex, U32 vrId,
                                      netsnmp_variable_list* indexes);

}  // namespace VrrpMIBImpl
