// SPDX-License-Identifier: Apache-2.0
#pragma once
// The VRRPv3-MIB module (RFC 6527, mib-2 207), read-only as vrrpv3ReadOnlyCompliance allows:
// vrrpv3OperationsTable, vrrpv3AssociatedIpAddrTable, vrrpv3StatisticsTable and the router-wide
// statistics, read from the Vrrpv3::Vrrpv3Mib model; every SET is refused with notWritable. The
// notifications are snmpv3/Vrrpv3Notifications.h.
//
// Unlike the VRRP-MIB's module it is not on the Snmp::AutoRegistree list: the host registers it
// itself, next to the VRRP-MIB.
#include "kiv/Types.h"

namespace Vrrpv3Snmp {

// Where the host binds the model under SnmpUtil's mount root.
constexpr const char* kModelPath = "snmp/vrrp/vrrpv3MIB";

}  // namespace Vrrpv3Snmp

// Registers the module's objects in the default context (""); other contexts get none. The model
// must be at kModelPath, and stay there as long as the agent runs; the process stops when it is
// missing. A second call for a context registers nothing more.
void init_Vrrpv3MIB(Kiv::String8 context);
