// SPDX-License-Identifier: Apache-2.0
#pragma once
// What vrrpd, the kernel and the advertisements on the wire say, as one state snapshot: the
// same form a state document parses into, so that it goes through the one publisher.
#include <map>
#include <optional>
#include <vector>

#include "lirex/InetAddr.h"
#include "lirex/IntfId.h"
#include "lirex/IpAddr.h"
#include "lirex/IpAddrWithMask.h"
#include "sources/adverts/AdvertView.h"
#include "sources/frr/VrrpdReply.h"
#include "zentra/StateDocument.h"

namespace Sources {

// The kernel's interfaces by name: ifIndex, primary IPv4 address and IPv6 link-local address.
struct KernelView {
  std::map<Lirex::IntfId, U32> ifIndex;
  std::map<Lirex::IntfId, Lirex::IpAddrWithMask> primary;
  std::map<Lirex::IntfId, Lirex::InetAddr> linkLocal;
  bool operator==(const KernelView&) const = default;
};

// One row of the MIBs: a router's address family that VrrpdRouter::shows.
struct RowKey {
  Lirex::IntfId parent;
  Routing::Fhrp::VrId vrid = 0;
  Lirex::AddrFamily family = Lirex::AddrFamily::ipv4;
  auto operator<=>(const RowKey&) const = default;
};

// What the source keeps of a row from one answer of vrrpd to the next: what no answer says.
struct RowHistory {
  Routing::Fhrp::FhrpState state = Routing::Fhrp::FhrpState::initialize;  // as vrrpd said last
  double upSince = 0;  // when vrrpd first showed it out of initialize; 0 while in initialize
  // vrrpd sends one priority-0 advertisement each time it takes a master to initialize (a
  // shutdown), and counts none.
  U64 priZeroPktsSent = 0;
};

struct FrrInputs {
  std::vector<VrrpdRouter> routers;
  std::map<RouterKey, U32> configuredPriority;
  KernelView kernel;
  AdvertView adverts;  // the masters heard on the wire, the errors counted there
  std::map<RowKey, RowHistory> rows;
  U32 refreshMs = 0;  // how often vrrpd is read
};

// Each router shows on its parent interface, in its configured version's MIB. Routers vrrpd has
// no configured priority for (not yet read) take their effective one. Version 3 rows carry their
// statistics; what the listener does not hear (it is not listening) reads 0.
Zentra::StateDocument frrSnapshot(const FrrInputs& inputs);

// Follows every row from one answer to the next, at `now` (Kiv::now()): up times, and the
// priority-0 advertisements sent. Rows no longer shown are forgotten. `fromVrrpd` false: the
// states are the source's own (vrrpd is gone), no transition vrrpd made.
void trackRows(std::map<RowKey, RowHistory>& rows, const std::vector<VrrpdRouter>& routers,
               double now, bool fromVrrpd = true);

// vrrpd takes a router from initialize to master only through backup, unless it owns its
// addresses (priority 255), and backup makes no kernel event: an answer may show the router
// master where `rows` last saw it in initialize. `routers` with each such row back in backup,
// when there is one.
std::optional<std::vector<VrrpdRouter>> withSkippedBackups(const std::map<RowKey, RowHistory>& rows,
                                                           const std::vector<VrrpdRouter>& routers);

}  // namespace Sources
