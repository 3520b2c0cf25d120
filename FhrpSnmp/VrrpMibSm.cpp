// SPDX-License-Identifier: Apache-2.0
#include "FhrpSnmp/VrrpMibSm.h"

#include <algorithm>
#include <type_traits>

#include "FhrpSnmp/VrrpMibSmReactors.h"
#include "kiv/Exception.h"

namespace FhrpSnmp {

using Lirex::IntfId;
using Routing::Fhrp::VrId;

namespace {

// The member of a record collection under key, as a const record, or null.
template <class Map>
auto member(const Map& map, const typename Map::key_type& key) {
  using Record = std::remove_pointer_t<decltype(map.begin()->second.ptr())>;
  auto it = map.find(key);
  return Kiv::Ptr<const Record>(it == map.end() ? nullptr : it->second.ptr());
}

[[noreturn]] void nullRecord(const char* attribute) {
  throw Kiv::RangeException(Kiv::String8("null _") + attribute +
                            " parameter to mutator for FhrpSnmp::VrrpMibSm::" + attribute +
                            " not allowed\"");
}

// Brings a reactor collection in line with an input collection: a reactor for
// every record present, none for keys the input no longer holds.
template <class Own, class Input, class Is, class Del>
void resync(const Own& own, const Input& input, Is is, Del del) {
  for (const auto& key : keysOf(input)) {
    if (auto record = member(input, key)) is(record);
  }
  for (const auto& key : keysOf(own)) {
    if (!holds(input, key)) del(key);
  }
}

// The three reactor collections share their shape.
template <class Reactor, class Record, class Create>
Kiv::Ptr<Reactor> reactorIs(std::map<IntfId, Kiv::Ptr<Reactor>>& reactors,
                            const Kiv::Ptr<const Record>& record, const char* attribute,
                            Create create) {
  if (!record) nullRecord(attribute);
  if (auto it = reactors.find(record->intfId()); it != reactors.end()) return it->second;
  auto reactor = create();
  return reactors.try_emplace(record->intfId(), reactor).first->second;
}

template <class Reactor>
Kiv::Ptr<Reactor> reactorOf(const std::map<IntfId, Kiv::Ptr<Reactor>>& reactors,
                            const IntfId& intfId) {
  auto it = reactors.find(intfId);
  return it == reactors.end() ? nullptr : it->second;
}

template <class Reactor>
void reactorDel(std::map<IntfId, Kiv::Ptr<Reactor>>& reactors, const IntfId& intfId) {
  auto it = reactors.find(intfId);
  if (it == reactors.end()) return;
  Kiv::Ptr<Reactor> gone = std::move(it->second);
  reactors.erase(it);
  gone->machineDel();
}

}  // namespace

VrrpMibSm::VrrpMibSm(const FhrpConfigPtr& fhrpConfig, const VrrpStatusPtr& vrrpStatus,
                     const AllIntfStatusPtr& allIntfStatus, const IpStatusPtr& ipStatus,
                     const Kiv::Ptr<VrrpMib>& vrrpMib)
    : allIntfStatus_(allIntfStatus), vrrpMib_(vrrpMib) {
  kivFhrpConfig_ = newReactor<KivFhrpConfig>(fhrpConfig);
  kivVrrpStatus_ = newReactor<KivVrrpStatus>(vrrpStatus);
  kivIpStatus_ = newReactor<KivIpStatus>(ipStatus);
  vrrpConfigIs(fhrpConfig ? fhrpConfig->vrrpConfig() : nullptr);
  ipIntfStatusResync();
  vrIntfConfigResync();
  vrIntfStatusResync();
  handleInitialized();
}

VrrpMibSm::~VrrpMibSm() {
  kivFhrpConfig_->machineDel();
  kivVrrpStatus_->machineDel();
  kivIpStatus_->machineDel();
  kivVrrpConfig_->machineDel();
  for (auto& [intfId, reactor] : ipIntfStatus_) reactor->machineDel();
  for (auto& [intfId, reactor] : vrIntfConfig_) reactor->machineDel();
  for (auto& [intfId, reactor] : vrIntfStatus_) reactor->machineDel();
  ipIntfStatus_.clear();
  vrIntfConfig_.clear();
  vrIntfStatus_.clear();
  // The entry machines go without deleteMibEntries: their rows stay in the model.
  vrrpMibEntrySm_.clear();
}

Kiv::Ptr<VrrpMibSm> vrrpMibSmFactory(const FhrpConfigPtr& fhrpConfig,
                                     const VrrpStatusPtr& vrrpStatus,
                                     const AllIntfStatusPtr& allIntfStatus,
                                     const IpStatusPtr& ipStatus,
                                     const Kiv::Ptr<VrrpMib>& vrrpMib) {
  auto sm = Kiv::make<VrrpMibSm>(fhrpConfig, vrrpStatus, allIntfStatus, ipStatus, vrrpMib);
  sm->hasNotificationActiveIs(true);
  return sm;
}

template <class Reactor, class Record>
Kiv::Ptr<Reactor> VrrpMibSm::newReactor(const Kiv::Ptr<const Record>& record) {
  auto reactor = Kiv::make<Reactor>(record, this);
  reactor->hasNotificationActiveIs(notificationActive_);
  return reactor;
}

FhrpConfigPtr VrrpMibSm::fhrpConfig() const {
  return kivFhrpConfig_->notifier();
}
VrrpStatusPtr VrrpMibSm::vrrpStatus() const {
  return kivVrrpStatus_->notifier();
}
IpStatusPtr VrrpMibSm::ipStatus() const {
  return kivIpStatus_->notifier();
}

Kiv::Ptr<const Routing::Fhrp::VrrpConfig> VrrpMibSm::vrrpConfig() const {
  return kivVrrpConfig_ ? kivVrrpConfig_->notifier() : nullptr;
}

void VrrpMibSm::vrrpConfigIs(const Kiv::Ptr<const Routing::Fhrp::VrrpConfig>& record) {
  if (kivVrrpConfig_) {
    kivVrrpConfig_->notifierIs(record);
  } else {
    kivVrrpConfig_ = newReactor<KivVrrpConfig>(record);
  }
}

void VrrpMibSm::hasNotificationActiveIs(bool active) {
  if (active == notificationActive_) return;
  notificationActive_ = active;
  kivFhrpConfig_->hasNotificationActiveIs(active);
  kivVrrpStatus_->hasNotificationActiveIs(active);
  kivIpStatus_->hasNotificationActiveIs(active);
  kivVrrpConfig_->hasNotificationActiveIs(active);
  for (auto& [intfId, reactor] : ipIntfStatus_) reactor->hasNotificationActiveIs(active);
  for (auto& [intfId, reactor] : vrIntfConfig_) reactor->hasNotificationActiveIs(active);
  for (auto& [intfId, reactor] : vrIntfStatus_) reactor->hasNotificationActiveIs(active);
}

// --- input records

Kiv::Ptr<const Routing::Fhrp::VrrpIntfConfig> VrrpMibSm::intfConfigRecord(const IntfId& id) const {
  const auto root = vrrpConfig();
  return root ? member(root->vrrpIntfConfig(), id) : nullptr;
}

Kiv::Ptr<const Routing::Fhrp::VirtualRouterIntfStatusV4> VrrpMibSm::intfStatusV4Record(
    const IntfId& id) const {
  const auto root = vrrpStatus();
  return root ? member(root->vrIntfStatus(), id) : nullptr;
}

Kiv::Ptr<const Ip::IpIntfStatus> VrrpMibSm::ipIntfStatusRecord(const IntfId& id) const {
  const auto root = ipStatus();
  return root ? member(root->ipIntfStatus(), id) : nullptr;
}

IntfStatusPtr VrrpMibSm::intfStatusRecord(const IntfId& id) const {
  return allIntfStatus_ ? member(allIntfStatus_->intfStatus(), id) : nullptr;
}

// --- collections

Kiv::Ptr<VrrpMibEntrySm> VrrpMibSm::vrrpMibEntrySm(const VrrpMibEntrySmId& id) const {
  auto it = vrrpMibEntrySm_.find(id);
  return it == vrrpMibEntrySm_.end() ? nullptr : it->second;
}

Kiv::Ptr<VrrpMibEntrySm> VrrpMibSm::vrrpMibEntrySmIs(const VrrpMibEntrySmId& id,
                                                     const IntfStatusPtr& intfStatus,
                                                     const ConfigPtr& vrConfig,
                                                     const StatusPtr& vrStatus,
                                                     const Kiv::Ptr<VrrpMib>& vrrpMib) {
  if (auto existing = vrrpMibEntrySm(id)) return existing;
  auto sm = vrrpMibEntrySmFactory(id, intfStatus, vrConfig, vrStatus, vrrpMib);
  if (!sm) throw Kiv::RangeException("null ValidPtr");
  // The machine's construction may have run code that made one meanwhile.
  return vrrpMibEntrySm_.try_emplace(id, sm).first->second;
}

void VrrpMibSm::vrrpMibEntrySmDel(const VrrpMibEntrySmId& id) {
  auto it = vrrpMibEntrySm_.find(id);
  if (it == vrrpMibEntrySm_.end()) return;
  // Out of the map before it goes: its destruction must not run inside erase.
  Kiv::Ptr<VrrpMibEntrySm> gone = std::move(it->second);
  vrrpMibEntrySm_.erase(it);
}

std::vector<VrId> VrrpMibSm::vrIdsOf(const IntfId& intfId) const {
  std::vector<VrId> ids;
  for (auto it = vrrpMibEntrySm_.lower_bound(VrrpMibEntrySmId(intfId, 0));
       it != vrrpMibEntrySm_.end() && it->first.intfId == intfId; ++it) {
    ids.push_back(it->first.vrId);
  }
  return ids;
}

Kiv::Ptr<VrrpMibSm::KivIpIntfStatus> VrrpMibSm::ipIntfStatus(const IntfId& intfId) const {
  return reactorOf(ipIntfStatus_, intfId);
}
Kiv::Ptr<VrrpMibSm::KivIpIntfStatus> VrrpMibSm::ipIntfStatusIs(
    const Kiv::Ptr<const Ip::IpIntfStatus>& record) {
  return reactorIs<KivIpIntfStatus>(ipIntfStatus_, record, "ipIntfStatus",
                                    [&] { return newReactor<KivIpIntfStatus>(record); });
}
void VrrpMibSm::ipIntfStatusDel(const IntfId& intfId) {
  reactorDel(ipIntfStatus_, intfId);
}

Kiv::Ptr<VrrpMibSm::KivVrIntfConfig> VrrpMibSm::vrIntfConfig(const IntfId& intfId) const {
  return reactorOf(vrIntfConfig_, intfId);
}
Kiv::Ptr<VrrpMibSm::KivVrIntfConfig> VrrpMibSm::vrIntfConfigIs(
    const Kiv::Ptr<const Routing::Fhrp::VrrpIntfConfig>& record) {
  return reactorIs<KivVrIntfConfig>(vrIntfConfig_, record, "vrIntfConfig",
                                    [&] { return newReactor<KivVrIntfConfig>(record); });
}
void VrrpMibSm::vrIntfConfigDel(const IntfId& intfId) {
  reactorDel(vrIntfConfig_, intfId);
}

Kiv::Ptr<VrrpMibSm::KivVrIntfStatus> VrrpMibSm::vrIntfStatus(const IntfId& intfId) const {
  return reactorOf(vrIntfStatus_, intfId);
}
Kiv::Ptr<VrrpMibSm::KivVrIntfStatus> VrrpMibSm::vrIntfStatusIs(
    const Kiv::Ptr<const Routing::Fhrp::VirtualRouterIntfStatusV4>& record) {
  return reactorIs<KivVrIntfStatus>(vrIntfStatus_, record, "vrIntfStatus",
                                    [&] { return newReactor<KivVrIntfStatus>(record); });
}
void VrrpMibSm::vrIntfStatusDel(const IntfId& intfId) {
  reactorDel(vrIntfStatus_, intfId);
}

void VrrpMibSm::vrIntfConfigResync() {
  const auto root = vrrpConfig();
  if (!root) return;
  resync(
      vrIntfConfig_, root->vrrpIntfConfig(), [this](const auto& r) { vrIntfConfigIs(r); },
      [this](const IntfId& k) { vrIntfConfigDel(k); });
}

void VrrpMibSm::vrIntfStatusResync() {
  const auto root = vrrpStatus();
  if (!root) return;
  resync(
      vrIntfStatus_, root->vrIntfStatus(), [this](const auto& r) { vrIntfStatusIs(r); },
      [this](const IntfId& k) { vrIntfStatusDel(k); });
}

void VrrpMibSm::ipIntfStatusResync() {
  const auto root = ipStatus();
  if (!root) return;
  resync(
      ipIntfStatus_, root->ipIntfStatus(), [this](const auto& r) { ipIntfStatusIs(r); },
      [this](const IntfId& k) { ipIntfStatusDel(k); });
}

// --- handlers

void VrrpMibSm::handleInitialized() {
  KIV_TRACE(entryTrace(), 8, "void FhrpSnmp::VrrpMibSm::handleInitialized()");
  initializedIs(true);
  for (const auto& intfId : keysOf(vrIntfStatus_)) {
    if (auto reactor = vrIntfStatus(intfId)) reactor->handleInitialized();
  }
  for (const auto& intfId : keysOf(vrIntfConfig_)) {
    if (auto reactor = vrIntfConfig(intfId)) reactor->handleInitialized();
  }
}

void VrrpMibSm::createMibEntrySm(const IntfId& intfId, VrId vrId) {
  KIV_TRACE(entryTrace(), 8, "createMibEntrySm( " << intfId << ", " << vrId << " )");
  const auto intfConfig = intfConfigRecord(intfId);
  const auto intfStatusV4 = intfStatusV4Record(intfId);
  if (!intfConfig || !intfStatusV4) return;
  const auto intfStatus = intfStatusRecord(intfId);
  if (!intfStatus) return;
  const auto vrConfig = member(intfConfig->virtualRouterConfig(), vrId);
  const auto vrStatus = member(intfStatusV4->vrStatus(), vrId);
  if (!vrConfig || !vrStatus) return;
  const VrrpMibEntrySmId id(intfId, vrId);
  // An existing machine is never rebuilt, even on other records.
  if (vrrpMibEntrySm(id)) return;
  KIV_TRACE(entryTrace(), 7, "Creating VrrpMibEntrySm, intfId=" << intfId << " vrId=" << vrId);
  auto sm = vrrpMibEntrySmIs(id, intfStatus, vrConfig, vrStatus, vrrpMib_);
  if (const auto ip = ipIntfStatusRecord(intfId)) {
    sm->physicalIpAddrIs(ip->activeAddrWithMask().addr());
  }
}

void VrrpMibSm::deleteMibEntrySm(const IntfId& intfId, VrId vrId) {
  KIV_TRACE(entryTrace(), 8, "deleteMibEntrySm( " << intfId << ", " << vrId << " )");
  const VrrpMibEntrySmId id(intfId, vrId);
  const auto sm = vrrpMibEntrySm(id);
  if (!sm) return;
  KIV_TRACE(entryTrace(), 7, "Deleting VrrpMibEntrySm, intfId=" << intfId << " vrId=" << vrId);
  sm->deleteMibEntries();
  vrrpMibEntrySmDel(id);
}

void VrrpMibSm::deleteMibIntfSm(const IntfId& intfId) {
  KIV_TRACE(entryTrace(), 8, "deleteMibIntfSm( " << intfId << " )");
  for (VrId vrId : vrIdsOf(intfId)) deleteMibEntrySm(intfId, vrId);
}

void VrrpMibSm::handleInterface(const IntfId& intfId) {
  KIV_TRACE(entryTrace(), 8, "handleInterface( " << intfId << " )");
  if (!initialized_) return;
  if (intfConfigRecord(intfId) && intfStatusV4Record(intfId)) return;
  deleteMibIntfSm(intfId);
}

void VrrpMibSm::handleInterface() {
  KIV_TRACE(entryTrace(), 8, "void FhrpSnmp::VrrpMibSm::handleInterface()");
  if (!initialized_) return;
  const auto status = vrrpStatus();
  const auto config = vrrpConfig();
  std::vector<IntfId> withStatus;
  if (status) withStatus = keysOf(status->vrIntfStatus());
  for (const IntfId& intfId : withStatus) handleInterface(intfId);
  if (!config) return;
  for (const IntfId& intfId : keysOf(config->vrrpIntfConfig())) {
    if (!std::binary_search(withStatus.begin(), withStatus.end(), intfId)) handleInterface(intfId);
  }
}

void VrrpMibSm::handleIpStatus(const IntfId& intfId) {
  KIV_TRACE(entryTrace(), 8, "handleIpStatus( " << intfId << " )");
  if (!initialized_) return;
  const auto intfStatusV4 = intfStatusV4Record(intfId);
  if (!intfStatusV4) return;
  Lirex::IpAddr addr;
  if (const auto ip = ipIntfStatusRecord(intfId)) {
    addr = ip->activeAddrWithMask().addr();
    KIV_TRACE(entryTrace(), 7, "Changing physical address of " << intfId << " to " << addr);
  }
  for (VrId vrId : keysOf(intfStatusV4->vrStatus())) {
    if (const auto sm = vrrpMibEntrySm(VrrpMibEntrySmId(intfId, vrId))) sm->physicalIpAddrIs(addr);
  }
}

}  // namespace FhrpSnmp
