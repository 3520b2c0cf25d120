// SPDX-License-Identifier: Apache-2.0
#pragma once
// The VRRPv3-MIB notifications. The mirroring calls them; they know nothing of the model, so the
// model and the SNMP module never include each other. Both are queued on Snmp::TrapManager, the
// one paced queue, when the agent's notification configuration (group "vrrpv3") allows them.
#include "kiv/Types.h"
#include "lirex/InetAddr.h"

namespace Snmp {

// vrrpv3NewMaster for the row (ifIndex, vrId, family): the master's address and the
// vrrpv3StatisticsNewMasterReason number.
void vrrpv3NewMasterNotify(U32 ifIndex, U32 vrId, Lirex::AddrFamily family,
                           const Lirex::InetAddr& masterIpAddr, int reason);

// vrrpv3ProtoError for the row: the vrrpv3StatisticsProtoErrReason number.
void vrrpv3ProtoErrorNotify(U32 ifIndex, U32 vrId, Lirex::AddrFamily family, int reason);

}  // namespace Snmp
