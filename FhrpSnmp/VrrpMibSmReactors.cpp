// SPDX-License-Identifier: Apache-2.0
#include "FhrpSnmp/VrrpMibSmReactors.h"

namespace FhrpSnmp {

// --- roots

void VrrpMibSm::KivFhrpConfig::handleVrrpConfig() {
  KIV_TRACE(entryTrace(), 8, "void FhrpSnmp::VrrpMibSm::KivFhrpConfig::handleVrrpConfig()");
  Hold h = hold();
  if (!live()) return;
  const auto record = notifier();
  vrrpMibSm()->vrrpConfigIs(record ? record->vrrpConfig() : nullptr);
}

void VrrpMibSm::KivVrrpConfig::handleVrrpIntfConfig(Lirex::IntfId intfId) {
  KIV_TRACE(entryTrace(), 8, "handleVrrpIntfConfig( " << intfId << " )");
  Hold h = hold();
  if (live()) vrrpMibSm()->handleInterface(intfId);
  if (!live()) return;
  if (auto record = vrrpMibSm()->intfConfigRecord(intfId)) {
    vrrpMibSm()->vrIntfConfigIs(record);
  } else {
    vrrpMibSm()->vrIntfConfigDel(intfId);
  }
}

void VrrpMibSm::KivVrrpConfig::handleVrrpIntfConfig() {
  KIV_TRACE(entryTrace(), 8, "void FhrpSnmp::VrrpMibSm::KivVrrpConfig::handleVrrpIntfConfig()");
  Hold h = hold();
  if (live()) vrrpMibSm()->handleInterface();
  if (live()) vrrpMibSm()->vrIntfConfigResync();
}

void VrrpMibSm::KivVrrpStatus::handleVrIntfStatus(Lirex::IntfId intfId) {
  KIV_TRACE(entryTrace(), 8, "handleVrIntfStatus( " << intfId << " )");
  Hold h = hold();
  if (live()) vrrpMibSm()->handleInterface(intfId);
  if (!live()) return;
  if (auto record = vrrpMibSm()->intfStatusV4Record(intfId)) {
    vrrpMibSm()->vrIntfStatusIs(record);
  } else {
    vrrpMibSm()->vrIntfStatusDel(intfId);
  }
}

void VrrpMibSm::KivVrrpStatus::handleVrIntfStatus() {
  KIV_TRACE(entryTrace(), 8, "void FhrpSnmp::VrrpMibSm::KivVrrpStatus::handleVrIntfStatus()");
  Hold h = hold();
  if (live()) vrrpMibSm()->handleInterface();
  if (live()) vrrpMibSm()->vrIntfStatusResync();
}

void VrrpMibSm::KivIpStatus::handleIpIntfStatus(Lirex::IntfId intfId) {
  KIV_TRACE(entryTrace(), 8, "handleIpIntfStatus( " << intfId << " )");
  Hold h = hold();
  if (live()) vrrpMibSm()->handleIpStatus(intfId);
  if (!live()) return;
  if (auto record = vrrpMibSm()->ipIntfStatusRecord(intfId)) {
    vrrpMibSm()->ipIntfStatusIs(record);
  } else {
    vrrpMibSm()->ipIntfStatusDel(intfId);
  }
}

void VrrpMibSm::KivIpStatus::handleIpIntfStatus() {
  KIV_TRACE(entryTrace(), 8, "void FhrpSnmp::VrrpMibSm::KivIpStatus::handleIpIntfStatus()");
  Hold h = hold();
  if (live()) vrrpMibSm()->ipIntfStatusResync();
}

// --- one interface

void VrrpMibSm::KivIpIntfStatus::handleActiveAddrWithMask() {
  KIV_TRACE(entryTrace(), 8,
            "void FhrpSnmp::VrrpMibSm::KivIpIntfStatus::handleActiveAddrWithMask()");
  Hold h = hold();
  if (!live()) return;
  const auto record = notifier();
  vrrpMibSm()->handleIpStatus(record ? record->intfId() : Lirex::IntfId());
}

template <class Record, class Traits>
void VrIntfReactor<Record, Traits>::handleInitialized() {
  KIV_TRACE(entryTrace(), 8,
            "void FhrpSnmp::VrrpMibSm::" << Traits::reactor << "::handleInitialized()");
  if (!this->live() || !this->vrrpMibSm()->initialized()) return;
  initialized_ = true;
  handleVr();
}

template <class Record, class Traits>
void VrIntfReactor<Record, Traits>::handleVr(Routing::Fhrp::VrId vrId) {
  KIV_TRACE(entryTrace(), 8, Traits::handler << "( " << vrId << " )");
  if (!initialized_ || !this->live()) return;
  const auto record = this->notifier();
  const Lirex::IntfId intfId = record ? record->intfId() : Lirex::IntfId();
  if (record && holds(Traits::members(*record), vrId)) {
    this->vrrpMibSm()->createMibEntrySm(intfId, vrId);
  } else {
    this->vrrpMibSm()->deleteMibEntrySm(intfId, vrId);
  }
}

template <class Record, class Traits>
void VrIntfReactor<Record, Traits>::handleVr() {
  KIV_TRACE(entryTrace(), 8,
            "void FhrpSnmp::VrrpMibSm::" << Traits::reactor << "::" << Traits::handler << "()");
  if (!initialized_ || !this->live()) return;
  const auto record = this->notifier();
  if (!record) return;
  // Machines of routers that left the record go with the per-router notification.
  for (Routing::Fhrp::VrId vrId : keysOf(Traits::members(*record))) handleVr(vrId);
}

template class VrIntfReactor<Routing::Fhrp::VrrpIntfConfig, VrIntfConfigTraits>;
template class VrIntfReactor<Routing::Fhrp::VirtualRouterIntfStatusV4, VrIntfStatusTraits>;

}  // namespace FhrpSnmp
