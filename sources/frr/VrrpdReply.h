#pragma once
// Readers of vrrpd's two answers:
//  - `show vrrp json`: every virtual router with its state, cheap enough to ask on every event;
//  - `show yang operational-data /frr-interface:lib with-config`: the configuration, whose
//    configured priority the first answer lacks.
// Only what the VRRP-MIB needs is read; members this reader does not know are skipped, so a
// newer vrrpd that adds some still reads. A missing or mistyped member it needs raises
// VrrpdReplyError naming the member.
#include <map>
#include <string_view>
#include <utility>
#include <vector>

#include "kiv/Exception.h"
#include "kiv/Types.h"
#include "lirex/EthAddr.h"
#include "lirex/IntfId.h"
#include "lirex/IpAddr.h"
#include "platform/Fhrp/FhrpTypes.h"

namespace Sources {

class VrrpdReplyError : public Kiv::RangeException {
 public:
  using Kiv::RangeException::RangeException;
};

// One router of `show vrrp json`, its IPv4 half only.
struct VrrpdRouter {
  Lirex::IntfId parent;  // the interface the router runs on, not its macvlan
  Routing::Fhrp::VrId vrid = 0;
  U32 version = 0;
  bool shutdown = false;
  bool preempt = true;
  U32 intervalMs = 0;
  Lirex::EthAddr vmac;
  Routing::Fhrp::FhrpState state = Routing::Fhrp::FhrpState::initialize;
  U32 effectivePriority = 0;
  Lirex::IpAddr primaryAddress;  // 0.0.0.0 unless master
  std::vector<Lirex::IpAddr> addresses;
  bool operator==(const VrrpdRouter&) const = default;
};

using RouterKey = std::pair<Lirex::IntfId, Routing::Fhrp::VrId>;

std::vector<VrrpdRouter> parseShowVrrp(std::string_view json);
// The configured priority of every router in the YANG answer.
std::map<RouterKey, U32> parseConfiguredPriorities(std::string_view json);

}  // namespace Sources
