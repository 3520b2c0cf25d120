// SPDX-License-Identifier: Apache-2.0
#pragma once
// Readers of vrrpd's two answers:
//  - `show vrrp json`: every virtual router with its state, cheap enough to ask on every event;
//  - `show yang operational-data /frr-interface:lib with-config`: the configuration, whose
//    configured priority the first answer lacks.
// Only what the MIBs need is read; members this reader does not know are skipped, so a newer
// vrrpd that adds some still reads. A missing or mistyped member it needs raises VrrpdReplyError
// naming the member.
#include <map>
#include <string_view>
#include <utility>
#include <vector>

#include "kiv/Exception.h"
#include "kiv/Types.h"
#include "lirex/EthAddr.h"
#include "lirex/InetAddr.h"
#include "lirex/IntfId.h"
#include "platform/Fhrp/FhrpTypes.h"

namespace Sources {

class VrrpdReplyError : public Kiv::RangeException {
 public:
  using Kiv::RangeException::RangeException;
};

// One address family of a router: vrrpd runs an IPv4 and an IPv6 instance of every router, the
// IPv6 one idle (initialize, no addresses) unless it is given IPv6 addresses.
struct VrrpdInstance {
  Lirex::IntfId interface;  // its macvlan; none when vrrpd found none
  Lirex::EthAddr vmac;
  Routing::Fhrp::FhrpState state = Routing::Fhrp::FhrpState::initialize;
  U32 effectivePriority = 0;
  // Zero of the family unless master; the IPv6 one is the macvlan's link-local address.
  Lirex::InetAddr primaryAddress;
  std::vector<Lirex::InetAddr> addresses;
  U64 advertisementsRcvd = 0;  // vrrpd's own count, since it started
  bool operator==(const VrrpdInstance&) const = default;
};

// An instance vrrpd has not started.
inline VrrpdInstance idle(Lirex::AddrFamily family) {
  VrrpdInstance i;
  i.primaryAddress = Lirex::InetAddr::zero(family);
  return i;
}

// One router of `show vrrp json`.
struct VrrpdRouter {
  Lirex::IntfId parent;  // the interface the router runs on, not its macvlan
  Routing::Fhrp::VrId vrid = 0;
  U32 version = 0;
  bool shutdown = false;
  bool preempt = true;
  U32 intervalMs = 0;
  VrrpdInstance v4;
  VrrpdInstance v6 = idle(Lirex::AddrFamily::ipv6);

  const VrrpdInstance& instance(Lirex::AddrFamily family) const {
    return family == Lirex::AddrFamily::ipv4 ? v4 : v6;
  }
  VrrpdInstance& instance(Lirex::AddrFamily family) {
    return family == Lirex::AddrFamily::ipv4 ? v4 : v6;
  }
  // Whether the MIBs show this family of the router: the IPv4 instance of a version 2 router
  // (the VRRP-MIB's, addresses or not), an instance of a version 3 router that has addresses.
  bool shows(Lirex::AddrFamily family) const {
    return version == 2 ? family == Lirex::AddrFamily::ipv4 : !instance(family).addresses.empty();
  }
  bool operator==(const VrrpdRouter&) const = default;
};

using RouterKey = std::pair<Lirex::IntfId, Routing::Fhrp::VrId>;

std::vector<VrrpdRouter> parseShowVrrp(std::string_view json);
// The configured priority of every router in the YANG answer (one for both families).
std::map<RouterKey, U32> parseConfiguredPriorities(std::string_view json);

}  // namespace Sources
