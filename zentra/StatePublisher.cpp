// SPDX-License-Identifier: Apache-2.0
#include "zentra/StatePublisher.h"

#include <type_traits>
#include <vector>

#include "zentra/ZentraTrace.h"

namespace Zentra {

std::ostream& operator<<(std::ostream& os, const PublishSummary& summary) {
  return os << summary.recordsAdded << " records added, " << summary.recordsRemoved << " removed, "
            << summary.attributesChanged << " attributes changed";
}

namespace {

using Routing::Fhrp::VrId;

// The setters notify only on a real change already; comparing here as well is for the count.
template <class R, class T>
void setAttr(R& record, const T& (R::*get)() const, void (R::*set)(const T&),
             const std::type_identity_t<T>& want, PublishSummary& summary) {
  if ((record.*get)() == want) return;
  (record.*set)(want);
  ++summary.attributesChanged;
}

// Updates the members of `have` that `want` keeps, in place, and inserts the ones it lacks,
// each filled by `fill` before `insert` makes it visible.
template <class K, class R, class W, class Insert, class Fill>
void addOrUpdate(const std::map<K, Kiv::Ptr<R>>& have, const std::map<K, W>& want, Insert insert,
                 Fill fill, PublishSummary& summary) {
  for (const auto& [key, value] : want) {
    const auto it = have.find(key);
    if (it != have.end() && it->second) {
      fill(*it->second, value, summary);
      continue;
    }
    Kiv::Ptr<R> record = Kiv::make<R>(key);
    PublishSummary fresh;  // attributes of a new record are not changes
    fill(*record, value, fresh);
    summary.recordsAdded += 1 + fresh.recordsAdded;
    insert(key, record);
  }
}

// Deletes the members of `have` that `want` lacks; `below` counts the records under one.
template <class K, class R, class W, class Del, class Below>
void removeMissing(const std::map<K, Kiv::Ptr<R>>& have, const std::map<K, W>& want, Del del,
                   Below below, PublishSummary& summary) {
  std::vector<K> gone;
  for (const auto& [key, record] : have) {
    if (!want.contains(key)) gone.push_back(key);
  }
  for (const K& key : gone) {
    const auto it = have.find(key);
    if (it == have.end()) continue;
    summary.recordsRemoved += 1 + (it->second ? below(*it->second) : 0);
    del(key);
  }
}

// Runs `f(record, wanted)` for every member of `have` that `want` keeps.
template <class K, class R, class W, class F>
void forEachKept(const std::map<K, Kiv::Ptr<R>>& have, const std::map<K, W>& want, F f) {
  for (const auto& [key, value] : want) {
    const auto it = have.find(key);
    if (it != have.end() && it->second) f(*it->second, value);
  }
}

template <class R>
std::size_t leaf(const R&) {
  return 0;
}

void fillIntfStatus(Interface::IntfStatus& r, const U32& ifIndex, PublishSummary& s) {
  using R = Interface::IntfStatus;
  setAttr(r, &R::ifIndex, &R::ifIndexIs, ifIndex, s);
}

void fillIpIntfStatus(Ip::IpIntfStatus& r, const Lirex::IpAddrWithMask& addr, PublishSummary& s) {
  using R = Ip::IpIntfStatus;
  setAttr(r, &R::activeAddrWithMask, &R::activeAddrWithMaskIs, addr, s);
}

void fillVrConfig(Routing::Fhrp::VrrpVirtualRouterConfig& r,
                  const StateDocument::VirtualRouterConfig& c, PublishSummary& s) {
  using R = Routing::Fhrp::VrrpVirtualRouterConfig;
  setAttr(r, &R::version, &R::versionIs, c.version, s);
  setAttr(r, &R::priority, &R::priorityIs, c.priority, s);
  setAttr(r, &R::preempt, &R::preemptIs, c.preempt, s);
  setAttr(r, &R::adminState, &R::adminStateIs, c.adminState, s);
  setAttr(r, &R::authType, &R::authTypeIs, c.authType, s);
  setAttr(r, &R::authKey, &R::authKeyIs, c.authKey, s);
  setAttr(r, &R::advertisementInterval, &R::advertisementIntervalIs, c.advertisementInterval, s);
  setAttr(r, &R::acceptMode, &R::acceptModeIs, c.acceptMode, s);
}

void fillIntfConfig(Routing::Fhrp::VrrpIntfConfig& r, const StateDocument::VrConfigs& vrs,
                    PublishSummary& s) {
  addOrUpdate(
      r.virtualRouterConfig(), vrs,
      [&r](VrId id, const auto& vr) { r.virtualRouterConfigIs(id, vr); }, fillVrConfig, s);
}

// Both status records carry the same counters.
template <class R>
void fillStatistics(R& r, const StateDocument::RouterStatistics& st, PublishSummary& s) {
  setAttr(r, &R::advertisementsRcvd, &R::advertisementsRcvdIs, st.advertisementsRcvd, s);
  setAttr(r, &R::advIntervalErrors, &R::advIntervalErrorsIs, st.advIntervalErrors, s);
  setAttr(r, &R::ipTtlErrors, &R::ipTtlErrorsIs, st.ipTtlErrors, s);
  setAttr(r, &R::versionErrors, &R::versionErrorsIs, st.versionErrors, s);
  setAttr(r, &R::checksumErrors, &R::checksumErrorsIs, st.checksumErrors, s);
  setAttr(r, &R::priZeroPktsRcvd, &R::priZeroPktsRcvdIs, st.priZeroPktsRcvd, s);
  setAttr(r, &R::priZeroPktsSent, &R::priZeroPktsSentIs, st.priZeroPktsSent, s);
  setAttr(r, &R::invalidTypePktsRcvd, &R::invalidTypePktsRcvdIs, st.invalidTypePktsRcvd, s);
  setAttr(r, &R::addressListErrors, &R::addressListErrorsIs, st.addressListErrors, s);
  setAttr(r, &R::packetLengthErrors, &R::packetLengthErrorsIs, st.packetLengthErrors, s);
  setAttr(r, &R::masterPriority, &R::masterPriorityIs, st.masterPriority, s);
}

// The IPv4 and the IPv6 status alike; `extra` sets what only one of them has.
template <class R, class W, class Extra>
void fillVrStatusOf(R& r, const W& st, PublishSummary& s, Extra extra) {
  for (const auto& [addr, up] : st.ipAddrs) {
    const auto it = r.ipAddrs().find(addr);
    if (it != r.ipAddrs().end() && it->second == up) continue;
    r.ipAddrsIs(addr, up);
    ++s.attributesChanged;
  }
  std::vector<typename decltype(W::ipAddrs)::key_type> gone;
  for (const auto& [addr, up] : r.ipAddrs()) {
    if (!st.ipAddrs.contains(addr)) gone.push_back(addr);
  }
  for (const auto& addr : gone) {
    r.ipAddrsDel(addr);
    ++s.attributesChanged;
  }
  setAttr(r, &R::ipAddrCount, &R::ipAddrCountIs, st.ipAddrCount, s);
  setAttr(r, &R::priority, &R::priorityIs, st.priority, s);
  setAttr(r, &R::srcAddr, &R::srcAddrIs, st.srcAddr, s);
  setAttr(r, &R::virtualMacAddr, &R::virtualMacAddrIs, st.virtualMacAddr, s);
  setAttr(r, &R::upSince, &R::upSinceIs, st.upSince, s);
  extra(r, st, s);
  fillStatistics(r, st.statistics, s);
  // Last: reactors on the state read everything else current.
  setAttr(r, &R::state, &R::stateIs, st.state, s);
}

void fillVrStatus(Routing::Fhrp::VirtualRouterStatusV4& r,
                  const StateDocument::VirtualRouterStatus& st, PublishSummary& s) {
  fillVrStatusOf(r, st, s, [](auto&, const auto&, PublishSummary&) {});
}

void fillVrStatusV6(Routing::Fhrp::VirtualRouterStatusV6& r,
                    const StateDocument::VirtualRouterStatusV6& st, PublishSummary& s) {
  using R = Routing::Fhrp::VirtualRouterStatusV6;
  fillVrStatusOf(r, st, s, [](R& r, const auto& st, PublishSummary& s) {
    setAttr(r, &R::primaryAddr, &R::primaryAddrIs, st.primaryAddr, s);
  });
}

void fillGlobalStatistics(Routing::Fhrp::VrrpGlobalStatistics& r,
                          const StateDocument::GlobalStatistics& st, PublishSummary& s) {
  using R = Routing::Fhrp::VrrpGlobalStatistics;
  setAttr(r, &R::checksumErrors, &R::checksumErrorsIs, st.checksumErrors, s);
  setAttr(r, &R::versionErrors, &R::versionErrorsIs, st.versionErrors, s);
  setAttr(r, &R::vrIdErrors, &R::vrIdErrorsIs, st.vrIdErrors, s);
  setAttr(r, &R::refreshRate, &R::refreshRateIs, st.refreshRate, s);
}

void fillIntfVrStatus(Routing::Fhrp::VirtualRouterIntfStatusV4& r,
                      const StateDocument::VrStatuses& vrs, PublishSummary& s) {
  addOrUpdate(
      r.vrStatus(), vrs, [&r](VrId id, const auto& vr) { r.vrStatusIs(id, vr); }, fillVrStatus, s);
}

void fillIntfVrStatusV6(Routing::Fhrp::VirtualRouterIntfStatusV6& r,
                        const StateDocument::VrStatusesV6& vrs, PublishSummary& s) {
  addOrUpdate(
      r.vrStatus(), vrs, [&r](VrId id, const auto& vr) { r.vrStatusIs(id, vr); }, fillVrStatusV6,
      s);
}

// An interface whose status comes, goes or changes its ifIndex: its routers' status of one
// family is withdrawn before anything else changes (see apply()).
template <class Statuses>
void withdrawMoved(Statuses& statuses, const Interface::AllIntfStatusDir& intfs,
                   const StateDocument& doc, PublishSummary& s) {
  std::vector<Lirex::IntfId> moved;
  for (const auto& [id, unused] : statuses.vrIntfStatus()) {
    const auto have = intfs.intfStatus().find(id);
    const auto want = doc.interfaces.find(id);
    const bool had = have != intfs.intfStatus().end() && have->second;
    const bool wanted = want != doc.interfaces.end();
    if (had != wanted || (had && have->second->ifIndex() != want->second)) moved.push_back(id);
  }
  for (const Lirex::IntfId& id : moved) {
    const auto record = statuses.vrIntfStatus().at(id);
    s.recordsRemoved += 1 + (record ? record->vrStatus().size() : 0);
    statuses.vrIntfStatusDel(id);
  }
}

// Removes the routers and interfaces of one family's status that the document lacks.
template <class Statuses, class Wanted>
void removeMissingStatus(Statuses& statuses, const Wanted& want, PublishSummary& s) {
  forEachKept(statuses.vrIntfStatus(), want, [&](auto& r, const auto& vrs) {
    removeMissing(
        r.vrStatus(), vrs, [&r](VrId id) { r.vrStatusDel(id); },
        [](const auto&) { return std::size_t{0}; }, s);
  });
  removeMissing(
      statuses.vrIntfStatus(), want, [&](const Lirex::IntfId& id) { statuses.vrIntfStatusDel(id); },
      [](const auto& r) { return r.vrStatus().size(); }, s);
}

}  // namespace

StatePublisher::StatePublisher(const StateTree& tree)
    : allIntfStatus_(tree.allIntfStatus()),
      ipStatus_(tree.ipStatus()),
      vrrpConfig_(tree.vrrpConfig()),
      vrrpStatus_(tree.vrrpStatus()),
      vrrpStatusV6_(tree.vrrpStatusV6()),
      vrrpStatistics_(tree.vrrpStatistics()) {}

PublishSummary StatePublisher::apply(const StateDocument& doc, std::string_view source) {
  PublishSummary s;
  auto& intfs = *allIntfStatus_;
  auto& ips = *ipStatus_;
  auto& configs = *vrrpConfig_;
  auto& statuses = *vrrpStatus_;

  // The mirroring machines read an interface's status (its ifIndex keys the rows) only when
  // they create a virtual router's machine, so no machine may be built on a status that is
  // about to change or go. Where an interface's status comes, goes or changes its ifIndex, its
  // VRRP status of both families is withdrawn first, which retires its machines and rows; the
  // VRRP status published below builds them again on the interface as it now is. A status that
  // goes while the document keeps VRRP status on its interface goes right away, not last.
  auto& statusesV6 = *vrrpStatusV6_;
  withdrawMoved(statuses, intfs, doc, s);
  withdrawMoved(statusesV6, intfs, doc, s);
  const auto dropStatusOf = [&](const Lirex::IntfId& id) {
    if (intfs.intfStatus().contains(id) && !doc.interfaces.contains(id)) {
      intfs.intfStatusDel(id);
      ++s.recordsRemoved;
    }
  };
  for (const auto& [id, unused] : doc.vrrpStatus) dropStatusOf(id);
  for (const auto& [id, unused] : doc.vrrpStatusV6) dropStatusOf(id);

  addOrUpdate(
      intfs.intfStatus(), doc.interfaces,
      [&](const Lirex::IntfId& id, const auto& r) { intfs.intfStatusIs(id, r); }, fillIntfStatus,
      s);
  addOrUpdate(
      ips.ipIntfStatus(), doc.ip,
      [&](const Lirex::IntfId& id, const auto& r) { ips.ipIntfStatusIs(id, r); }, fillIpIntfStatus,
      s);
  addOrUpdate(
      configs.vrrpIntfConfig(), doc.vrrpConfig,
      [&](const Lirex::IntfId& id, const auto& r) { configs.vrrpIntfConfigIs(id, r); },
      fillIntfConfig, s);
  addOrUpdate(
      statuses.vrIntfStatus(), doc.vrrpStatus,
      [&](const Lirex::IntfId& id, const auto& r) { statuses.vrIntfStatusIs(id, r); },
      fillIntfVrStatus, s);
  addOrUpdate(
      statusesV6.vrIntfStatus(), doc.vrrpStatusV6,
      [&](const Lirex::IntfId& id, const auto& r) { statusesV6.vrIntfStatusIs(id, r); },
      fillIntfVrStatusV6, s);
  fillGlobalStatistics(*vrrpStatistics_, doc.vrrpStatistics, s);

  removeMissingStatus(statusesV6, doc.vrrpStatusV6, s);
  removeMissingStatus(statuses, doc.vrrpStatus, s);
  forEachKept(configs.vrrpIntfConfig(), doc.vrrpConfig, [&](auto& r, const auto& vrs) {
    removeMissing(
        r.virtualRouterConfig(), vrs, [&r](VrId id) { r.virtualRouterConfigDel(id); },
        leaf<Routing::Fhrp::VrrpVirtualRouterConfig>, s);
  });
  removeMissing(
      configs.vrrpIntfConfig(), doc.vrrpConfig,
      [&](const Lirex::IntfId& id) { configs.vrrpIntfConfigDel(id); },
      [](const Routing::Fhrp::VrrpIntfConfig& r) { return r.virtualRouterConfig().size(); }, s);
  removeMissing(
      ips.ipIntfStatus(), doc.ip, [&](const Lirex::IntfId& id) { ips.ipIntfStatusDel(id); },
      leaf<Ip::IpIntfStatus>, s);
  removeMissing(
      intfs.intfStatus(), doc.interfaces, [&](const Lirex::IntfId& id) { intfs.intfStatusDel(id); },
      leaf<Interface::IntfStatus>, s);

  KIV_TRACE(zentraTrace(), 1, "applied " << source << ": " << s);
  return s;
}

}  // namespace Zentra
