// SPDX-License-Identifier: Apache-2.0
#include "sources/frr/FrrSnapshot.h"

#include <algorithm>
#include <optional>
#include <set>
#include <type_traits>

namespace Sources {
namespace {

using Lirex::AddrFamily;
using Routing::Fhrp::FhrpState;
using Zentra::StateDocument;

constexpr AddrFamily kFamilies[] = {AddrFamily::ipv4, AddrFamily::ipv6};

U32 hundredths(U32 milliseconds) {
  return std::clamp<U32>((milliseconds + 5) / 10, 1, StateDocument::kMaxAdvertisementInterval);
}

template <typename Map>
const typename Map::mapped_type* find(const Map& map, const typename Map::key_type& key) {
  auto it = map.find(key);
  return it == map.end() ? nullptr : &it->second;
}

// Where the listener keeps what it heard for a row: by the parent's ifIndex, unknown until the
// kernel names the parent.
std::optional<AdvertKey> advertKey(const FrrInputs& in, const VrrpdRouter& r, AddrFamily family) {
  const U32* index = find(in.kernel.ifIndex, r.parent);
  if (!index) return std::nullopt;
  return AdvertKey{*index, r.vrid, family};
}

// The source of the adverts heard for a row; zero when none is heard.
Lirex::InetAddr heardMaster(const FrrInputs& in, const VrrpdRouter& r, AddrFamily family) {
  auto key = advertKey(in, r, family);
  const HeardMaster* master = key ? find(in.adverts.masters, *key) : nullptr;
  return master ? master->address : Lirex::InetAddr::zero(family);
}

StateDocument::RouterStatistics statistics(const FrrInputs& in, const VrrpdRouter& r,
                                           AddrFamily family, const RowHistory* history) {
  StateDocument::RouterStatistics s;
  // vrrpd's count as it is: 32 bits and restarting with vrrpd, which the records take as a
  // discontinuity.
  s.advertisementsRcvd = r.instance(family).advertisementsRcvd;
  s.priZeroPktsSent = history ? history->priZeroPktsSent : 0;
  auto key = advertKey(in, r, family);
  if (!key) return s;
  if (const HeardMaster* master = find(in.adverts.masters, *key)) {
    s.masterPriority = master->priority;
  }
  if (const RouterErrors* e = find(in.adverts.errors, *key)) {
    s.advIntervalErrors = e->advIntervalErrors;
    s.ipTtlErrors = e->ipTtlErrors;
    s.versionErrors = e->versionErrors;
    s.checksumErrors = e->checksumErrors;
    s.priZeroPktsRcvd = e->priZeroPktsRcvd;
    s.invalidTypePktsRcvd = e->invalidTypePktsRcvd;
    s.addressListErrors = e->addressListErrors;
    s.packetLengthErrors = e->packetLengthErrors;
  }
  return s;
}

// What both families' status records share.
template <typename Status>
Status status(const FrrInputs& in, const VrrpdRouter& r, AddrFamily family) {
  const VrrpdInstance& i = r.instance(family);
  Status s;
  s.state = i.state;
  s.priority = i.effectivePriority;
  s.virtualMacAddr = i.vmac;
  for (const Lirex::InetAddr& a : i.addresses) {
    if constexpr (std::is_same_v<Status, StateDocument::VirtualRouterStatus>) {
      s.ipAddrs[a.v4()] = true;
    } else {
      s.ipAddrs[a] = true;
    }
  }
  s.ipAddrCount = static_cast<U32>(s.ipAddrs.size());
  const RowHistory* history = find(in.rows, RowKey{r.parent, r.vrid, family});
  s.upSince = history ? history->upSince : 0.0;
  // The VRRP-MIB serves no statistics: a version 2 router's records stay still between changes.
  if (r.version != 2) s.statistics = statistics(in, r, family, history);
  // The master's address: its own while master (IPv6: its link-local), the one heard on the wire
  // while backup.
  Lirex::InetAddr master = Lirex::InetAddr::zero(family);
  if (i.state == FhrpState::master) {
    master = i.primaryAddress;
  } else if (i.state == FhrpState::backup) {
    master = heardMaster(in, r, family);
  }
  if constexpr (std::is_same_v<Status, StateDocument::VirtualRouterStatus>) {
    s.srcAddr = master.v4();
  } else {
    s.srcAddr = master;
    // The address it advertises from: its macvlan's link-local, whatever its state.
    if (const Lirex::InetAddr* own = find(in.kernel.linkLocal, i.interface)) s.primaryAddr = *own;
  }
  return s;
}

}  // namespace

StateDocument frrSnapshot(const FrrInputs& in) {
  StateDocument doc;
  std::set<RouterKey> seen;
  // vrrpd reports each router once; were one reported twice, its last report would count.
  for (auto it = in.routers.rbegin(); it != in.routers.rend(); ++it) {
    const VrrpdRouter& r = *it;
    if (!seen.insert({r.parent, r.vrid}).second) continue;
    const bool v4 = r.shows(AddrFamily::ipv4);
    const bool v6 = r.shows(AddrFamily::ipv6);
    if (!v4 && !v6) continue;
    StateDocument::VirtualRouterConfig config;
    config.version = r.version;
    const U32* configured = find(in.configuredPriority, RouterKey{r.parent, r.vrid});
    config.priority = configured ? *configured : (v4 ? r.v4 : r.v6).effectivePriority;
    config.preempt = r.preempt;
    config.adminState =
        r.shutdown ? Interface::IntfEnabledState::disabled : Interface::IntfEnabledState::enabled;
    // vrrpd has no authentication: the defaults (none, empty key) are what it does.
    config.advertisementInterval = hundredths(r.intervalMs);
    // vrrpd has no Accept_Mode of its own: the virtual addresses are the kernel's, on the
    // macvlan, and the router answers for them whatever its state. IPv4 rows read false anyway.
    config.acceptMode = r.version != 2;
    doc.vrrpConfig[r.parent][r.vrid] = config;
    if (v4) {
      doc.vrrpStatus[r.parent][r.vrid] =
          status<StateDocument::VirtualRouterStatus>(in, r, AddrFamily::ipv4);
    }
    if (v6) {
      doc.vrrpStatusV6[r.parent][r.vrid] =
          status<StateDocument::VirtualRouterStatusV6>(in, r, AddrFamily::ipv6);
    }
    if (const U32* index = find(in.kernel.ifIndex, r.parent)) doc.interfaces[r.parent] = *index;
    if (const auto* primary = find(in.kernel.primary, r.parent)) doc.ip[r.parent] = *primary;
  }
  const GlobalErrors& g = in.adverts.global;
  doc.vrrpStatistics = {g.checksumErrors, g.versionErrors, g.vrIdErrors, in.refreshMs};
  return doc;
}

void trackRows(std::map<RowKey, RowHistory>& rows, const std::vector<VrrpdRouter>& routers,
               double now, bool fromVrrpd) {
  std::map<RowKey, RowHistory> next;
  for (const VrrpdRouter& r : routers) {
    for (AddrFamily family : kFamilies) {
      if (!r.shows(family)) continue;
      const RowKey key{r.parent, r.vrid, family};
      const RowHistory* before = find(rows, key);
      RowHistory h = before ? *before : RowHistory{};
      const FhrpState state = r.instance(family).state;
      if (fromVrrpd && h.state == FhrpState::master && state == FhrpState::initialize) {
        ++h.priZeroPktsSent;
      }
      // Up times start where vrrpd says a row left initialize, and only there: a stall or a
      // resync changes no state, so it keeps them.
      if (state == FhrpState::initialize) {
        h.upSince = 0;
      } else if (h.upSince == 0) {
        h.upSince = now;
      }
      h.state = state;
      next[key] = h;
    }
  }
  rows = std::move(next);
}

std::optional<std::vector<VrrpdRouter>> withSkippedBackups(
    const std::map<RowKey, RowHistory>& rows, const std::vector<VrrpdRouter>& routers) {
  std::optional<std::vector<VrrpdRouter>> between;
  for (std::size_t n = 0; n < routers.size(); ++n) {
    for (AddrFamily family : kFamilies) {
      const VrrpdRouter& r = routers[n];
      const RowHistory* before = find(rows, RowKey{r.parent, r.vrid, family});
      const VrrpdInstance& i = r.instance(family);
      if (!before || before->state != FhrpState::initialize || i.state != FhrpState::master ||
          i.effectivePriority == StateDocument::kMaxPriority || !r.shows(family)) {
        continue;
      }
      if (!between) between = routers;
      VrrpdInstance& backup = (*between)[n].instance(family);
      backup.state = FhrpState::backup;
      backup.primaryAddress = Lirex::InetAddr::zero(family);
    }
  }
  return between;
}

}  // namespace Sources
