// SPDX-License-Identifier: Apache-2.0
#pragma once
// VRRP IPv6 status records published by the FHRP agent: the IPv6 half of a version 3 router
// (IPv6 exists only in version 3). The same shape as the IPv4 status, with IPv6 addresses and the
// router's own primary address, which for IPv6 is the link-local address it advertises from.
#include "kiv/Record.h"
#include "lirex/EthAddr.h"
#include "lirex/InetAddr.h"
#include "lirex/IntfId.h"
#include "platform/Fhrp/FhrpTypes.h"
#include "platform/Fhrp/VrrpStatistics.h"

namespace Routing::Fhrp {

#define FHRP_VIRTUAL_ROUTER_STATUS_V6_ATTRS(ATTR, COLL)                                           \
  ATTR(FhrpState, state, State, FhrpState::initialize)                                            \
  ATTR(U32, priority, Priority, 0)                                                                \
  COLL(Lirex::InetAddr, bool, ipAddrs, IpAddrs)                                                   \
  ATTR(U32, ipAddrCount, IpAddrCount, 0)                                                          \
  ATTR(Lirex::EthAddr, virtualMacAddr, VirtualMacAddr, Lirex::EthAddr())                          \
  /* The master's link-local address as heard on the wire when backup; :: otherwise. */           \
  ATTR(Lirex::InetAddr, srcAddr, SrcAddr, Lirex::InetAddr::zero(Lirex::AddrFamily::ipv6))         \
  /* The router's own link-local address (its VRRP interface's); :: when not known. */            \
  ATTR(Lirex::InetAddr, primaryAddr, PrimaryAddr, Lirex::InetAddr::zero(Lirex::AddrFamily::ipv6)) \
  ATTR(double, upSince, UpSince, 0.0) /* Kiv::now() seconds; 0 when not up */                     \
  FHRP_VRRP_ROUTER_STATISTICS_ATTRS(ATTR, COLL)

class VirtualRouterStatusV6 : public Kiv::NotifierBase {
  KIV_RECORD(VirtualRouterStatusV6, VrId, vrId, FHRP_VIRTUAL_ROUTER_STATUS_V6_ATTRS)
};

#define FHRP_VIRTUAL_ROUTER_INTF_STATUS_V6_ATTRS(ATTR, COLL) \
  COLL(VrId, Kiv::Ptr<VirtualRouterStatusV6>, vrStatus, VrStatus)

class VirtualRouterIntfStatusV6 : public Kiv::NotifierBase {
  KIV_RECORD(VirtualRouterIntfStatusV6, Lirex::IntfId, intfId,
             FHRP_VIRTUAL_ROUTER_INTF_STATUS_V6_ATTRS)
};

#define FHRP_STATUS_V6_ATTRS(ATTR, COLL) \
  COLL(Lirex::IntfId, Kiv::Ptr<VirtualRouterIntfStatusV6>, vrIntfStatus, VrIntfStatus)

// The root of the VRRP IPv6 status.
class StatusV6 : public Kiv::NotifierBase {
  KIV_ROOT_RECORD(StatusV6, FHRP_STATUS_V6_ATTRS)
};

}  // namespace Routing::Fhrp
