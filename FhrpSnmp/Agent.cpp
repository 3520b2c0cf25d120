// SPDX-License-Identifier: Apache-2.0
#include "FhrpSnmp/Agent.h"

#include <utility>

namespace FhrpSnmp {

Kiv::Ptr<Agent> agentFactory(Kiv::Name name) {
  return Kiv::make<Agent>(std::move(name));
}

Agent::~Agent() {
  vrrpMibSmDel();
  vrrpMib_ = nullptr;
}

Kiv::String8 Agent::attributeName(Kiv::AttributeId id) const {
  switch (id) {
    case vrrpMibId:
      return "vrrpMib";
    case vrrpMibSmId:
      return "vrrpMibSm";
  }
  return Entity::attributeName(id);
}

void Agent::vrrpMibIs(const Kiv::Ptr<VrrpMib>& vrrpMib) {
  if (vrrpMib == vrrpMib_) return;
  vrrpMib_ = vrrpMib;
}

Kiv::Ptr<VrrpMibSm> Agent::vrrpMibSmIs(const FhrpConfigPtr& fhrpConfig,
                                       const VrrpStatusPtr& vrrpStatus,
                                       const AllIntfStatusPtr& allIntfStatus,
                                       const IpStatusPtr& ipStatus,
                                       const Kiv::Ptr<VrrpMib>& vrrpMib) {
  const Kiv::Ptr<VrrpMibSm>& sm = vrrpMibSm_;
  if (sm && sm->fhrpConfig() == fhrpConfig && sm->vrrpStatus() == vrrpStatus &&
      sm->allIntfStatus() == allIntfStatus && sm->ipStatus() == ipStatus &&
      sm->vrrpMib() == vrrpMib) {
    return sm;
  }
  return newVrrpMibSm(fhrpConfig, vrrpStatus, allIntfStatus, ipStatus, vrrpMib);
}

Kiv::Ptr<VrrpMibSm> Agent::newVrrpMibSm(const FhrpConfigPtr& fhrpConfig,
                                        const VrrpStatusPtr& vrrpStatus,
                                        const AllIntfStatusPtr& allIntfStatus,
                                        const IpStatusPtr& ipStatus,
                                        const Kiv::Ptr<VrrpMib>& vrrpMib) {
  // The old machine stays held until the new one stands (a failed build keeps it).
  Kiv::Ptr<VrrpMibSm> sm =
      vrrpMibSmFactory(fhrpConfig, vrrpStatus, allIntfStatus, ipStatus, vrrpMib);
  Kiv::Ptr<VrrpMibSm> old = std::exchange(vrrpMibSm_, sm);
  return sm;
}

Kiv::Ptr<VrrpMibSm> Agent::vrrpMibSmDel() {
  if (!vrrpMibSm_) return nullptr;
  Kiv::Ptr<VrrpMibSm> old = std::move(vrrpMibSm_);
  old->hasNotificationActiveIs(false);
  return old;
}

}  // namespace FhrpSnmp
