// SPDX-License-Identifier: Apache-2.0
#pragma once
// Building instance OIDs for handlers: index parts are appended one sub-identifier at a
// time into a fixed buffer (usually MAX_OID_LEN long).
#include <cstddef>

#include "kiv/Types.h"
#include "platform/Snmp/NetSnmp.h"

namespace Snmp {

// snmpTrapOID.0 (SNMPv2-MIB): the first binding of every notification names it.
inline constexpr oid snmpTrapOid[] = {1, 3, 6, 1, 6, 3, 1, 1, 4, 1, 0};

// Appends value to the len sub-identifiers in buf and returns the new length. Raises
// Kiv::RangeException when the buffer already holds maxLen sub-identifiers.
size_t AppendToOid(oid* buf, size_t len, size_t maxLen, U32 value);

// The numeric text form ".1.3.6.1..." used in traces and messages (empty OID: "").
Kiv::String8 oidToString(const oid* name, size_t len);

}  // namespace Snmp
