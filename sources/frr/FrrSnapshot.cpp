#include "sources/frr/FrrSnapshot.h"

#include <algorithm>

namespace Sources {
namespace {

using Routing::Fhrp::FhrpState;
using Zentra::StateDocument;

U32 hundredths(U32 milliseconds) {
  return std::clamp<U32>((milliseconds + 5) / 10, 1, StateDocument::kMaxAdvertisementInterval);
}

template <typename Map>
auto valueOr(const Map& map, const typename Map::key_type& key,
             const typename Map::mapped_type& fallback) {
  auto it = map.find(key);
  return it == map.end() ? fallback : it->second;
}

// The source of the adverts heard for a router on its parent; zero when none is heard.
Lirex::InetAddr heardMaster(const FrrInputs& in, const Lirex::IntfId& parent, U32 vrid,
                            Lirex::AddrFamily family) {
  auto index = in.kernel.ifIndex.find(parent);
  if (index == in.kernel.ifIndex.end()) return Lirex::InetAddr::zero(family);
  auto master = in.adverts.masters.find({index->second, vrid, family});
  return master == in.adverts.masters.end() ? Lirex::InetAddr::zero(family)
                                            : master->second.address;
}

}  // namespace

StateDocument frrSnapshot(const FrrInputs& in) {
  StateDocument doc;
  for (const VrrpdRouter& r : in.routers) {
    RouterKey key{r.parent, r.vrid};
    StateDocument::VirtualRouterConfig config;
    config.version = r.version;
    config.priority = valueOr(in.configuredPriority, key, r.effectivePriority);
    config.preempt = r.preempt;
    config.adminState =
        r.shutdown ? Interface::IntfEnabledState::disabled : Interface::IntfEnabledState::enabled;
    // vrrpd has no authentication: the defaults (none, empty key) are what it does.
    config.advertisementInterval = hundredths(r.intervalMs);
    doc.vrrpConfig[r.parent][r.vrid] = config;

    StateDocument::VirtualRouterStatus status;
    status.state = r.state;
    status.priority = r.effectivePriority;
    if (r.state == FhrpState::master) {
      status.srcAddr = r.primaryAddress;
    } else if (r.state == FhrpState::backup) {
      status.srcAddr = heardMaster(in, r.parent, r.vrid, Lirex::AddrFamily::ipv4).v4();
    }
    status.virtualMacAddr = r.vmac;
    for (const Lirex::IpAddr& a : r.addresses) status.ipAddrs[a] = true;
    status.ipAddrCount = static_cast<U32>(status.ipAddrs.size());
    status.upSince = valueOr(in.upSince, key, 0.0);
    doc.vrrpStatus[r.parent][r.vrid] = status;

    if (auto it = in.kernel.ifIndex.find(r.parent); it != in.kernel.ifIndex.end()) {
      doc.interfaces[r.parent] = it->second;
    }
    if (auto it = in.kernel.primary.find(r.parent); it != in.kernel.primary.end()) {
      doc.ip[r.parent] = it->second;
    }
  }
  return doc;
}

void trackUpSince(std::map<RouterKey, double>& upSince, const std::vector<VrrpdRouter>& routers,
                  double now) {
  std::map<RouterKey, double> next;
  for (const VrrpdRouter& r : routers) {
    if (r.state == FhrpState::initialize) continue;
    RouterKey key{r.parent, r.vrid};
    next[key] = valueOr(upSince, key, now);
  }
  upSince = std::move(next);
}

}  // namespace Sources
