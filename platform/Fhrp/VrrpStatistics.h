// SPDX-License-Identifier: Apache-2.0
#pragma once
// VRRP statistics as a source counts them: per virtual router and address family (attributes
// of the status records, VrrpStatus.h and VrrpStatusV6.h) and for the whole router.
//
// Counters hold the source's own count. A source that restarts its count (vrrpd restarted, the
// listener reopened) publishes the smaller number: readers take a decrease as a discontinuity,
// never as a wrap. A source that cannot know a counter (no CAP_NET_RAW for the listener) leaves
// it at 0.
#include "kiv/Record.h"

// Appended to the attribute lists of VirtualRouterStatusV4 and VirtualRouterStatusV6.
#define FHRP_VRRP_ROUTER_STATISTICS_ATTRS(ATTR, COLL)                                          \
  ATTR(U64, advertisementsRcvd, AdvertisementsRcvd, 0)                                         \
  ATTR(U64, advIntervalErrors, AdvIntervalErrors, 0)                                           \
  ATTR(U64, ipTtlErrors, IpTtlErrors, 0)       /* IPv4 TTL or IPv6 hop limit other than 255 */ \
  ATTR(U64, versionErrors, VersionErrors, 0)   /* also counted in the global count */          \
  ATTR(U64, checksumErrors, ChecksumErrors, 0) /* also counted in the global count */          \
  ATTR(U64, priZeroPktsRcvd, PriZeroPktsRcvd, 0)                                               \
  ATTR(U64, priZeroPktsSent, PriZeroPktsSent, 0)                                               \
  ATTR(U64, invalidTypePktsRcvd, InvalidTypePktsRcvd, 0)                                       \
  ATTR(U64, addressListErrors, AddressListErrors, 0)                                           \
  ATTR(U64, packetLengthErrors, PacketLengthErrors, 0)                                         \
  /* The priority of the last advertisement heard from the master while backup; 0 when */      \
  /* none was heard or the master resigned. Tells a preemption from a lost master. */          \
  ATTR(U32, masterPriority, MasterPriority, 0)

namespace Routing::Fhrp {

#define FHRP_VRRP_GLOBAL_STATISTICS_ATTRS(ATTR, COLL)                                        \
  /* Advertisements that no router can be named for; counted once for the whole router. */   \
  ATTR(U64, checksumErrors, ChecksumErrors, 0)                                               \
  ATTR(U64, versionErrors, VersionErrors, 0)                                                 \
  ATTR(U64, vrIdErrors, VrIdErrors, 0) /* a VRID that no router on the interface has */      \
  /* How often the source reads its sources, in milliseconds; 0: it is told, not polling. */ \
  ATTR(U32, refreshRate, RefreshRate, 0)

// The root of the router-wide VRRP statistics.
class VrrpGlobalStatistics : public Kiv::NotifierBase {
  KIV_ROOT_RECORD(VrrpGlobalStatistics, FHRP_VRRP_GLOBAL_STATISTICS_ATTRS)
};

}  // namespace Routing::Fhrp
