// SPDX-License-Identifier: Apache-2.0
#pragma once
// The VRRP-MIB new-master notification. The mirroring machines call it; it knows
// nothing of the model, so the model and the SNMP module never include each other.
#include "kiv/Types.h"
#include "lirex/IpAddr.h"

namespace Snmp {

// Queues vrrpTrapNewMaster for the router (ifIndex, vrId) when the agent's
// notification configuration allows it. Always returns 0.
int vrrpTrapNewMasterNotify(Lirex::IpAddr masterIpAddr, U32 ifIndex, U32 vrId);

}  // namespace Snmp
