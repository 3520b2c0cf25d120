// SPDX-License-Identifier: Apache-2.0
#pragma once
// VRRP IPv4 status records published by the FHRP agent, for routers of either version. srcAddr
// is the master's address: the router's own when master, the advertiser heard when backup.
#include "kiv/Record.h"
#include "lirex/EthAddr.h"
#include "lirex/IntfId.h"
#include "lirex/IpAddr.h"
#include "platform/Fhrp/FhrpTypes.h"
#include "platform/Fhrp/VrrpStatistics.h"

namespace Routing::Fhrp {

#define FHRP_VIRTUAL_ROUTER_STATUS_V4_ATTRS(ATTR, COLL)                       \
  ATTR(FhrpState, state, State, FhrpState::initialize)                        \
  ATTR(U32, priority, Priority, 0)                                            \
  COLL(Lirex::IpAddr, bool, ipAddrs, IpAddrs)                                 \
  ATTR(U32, ipAddrCount, IpAddrCount, 0)                                      \
  ATTR(Lirex::EthAddr, virtualMacAddr, VirtualMacAddr, Lirex::EthAddr())      \
  ATTR(Lirex::IpAddr, srcAddr, SrcAddr, Lirex::IpAddr())                      \
  ATTR(double, upSince, UpSince, 0.0) /* Kiv::now() seconds; 0 when not up */ \
  FHRP_VRRP_ROUTER_STATISTICS_ATTRS(ATTR, COLL)

class VirtualRouterStatusV4 : public Kiv::NotifierBase {
  KIV_RECORD(VirtualRouterStatusV4, VrId, vrId, FHRP_VIRTUAL_ROUTER_STATUS_V4_ATTRS)
};

#define FHRP_VIRTUAL_ROUTER_INTF_STATUS_V4_ATTRS(ATTR, COLL) \
  COLL(VrId, Kiv::Ptr<VirtualRouterStatusV4>, vrStatus, VrStatus)

class VirtualRouterIntfStatusV4 : public Kiv::NotifierBase {
  KIV_RECORD(VirtualRouterIntfStatusV4, Lirex::IntfId, intfId,
             FHRP_VIRTUAL_ROUTER_INTF_STATUS_V4_ATTRS)
};

#define FHRP_STATUS_V4_ATTRS(ATTR, COLL) \
  COLL(Lirex::IntfId, Kiv::Ptr<VirtualRouterIntfStatusV4>, vrIntfStatus, VrIntfStatus)

// The root of the VRRP IPv4 status.
class StatusV4 : public Kiv::NotifierBase {
  KIV_ROOT_RECORD(StatusV4, FHRP_STATUS_V4_ATTRS)
};

}  // namespace Routing::Fhrp
