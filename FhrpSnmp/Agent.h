// SPDX-License-Identifier: Apache-2.0
#pragma once
// The plug-in's root object: holds the VRRP-MIB model and the machine that keeps
// it current. The host creates it by type name and wires it through its
// reflective attributes.
#include "FhrpSnmp/VrrpMib.h"
#include "FhrpSnmp/VrrpMibSm.h"
#include "kiv/Entity.h"

namespace FhrpSnmp {

class Agent : public Kiv::Entity {
 public:
  enum AttributeIds : Kiv::AttributeId { vrrpMibId = 1, vrrpMibSmId };

  explicit Agent(Kiv::Name name) : Entity(std::move(name)) {}
  // Quiets the machine before anything else goes.
  ~Agent() override;

  Kiv::String8 typeName() const override { return "FhrpSnmp::Agent"; }
  Kiv::String8 attributeName(Kiv::AttributeId id) const override;

  const Kiv::Ptr<VrrpMib>& vrrpMib() const { return vrrpMib_; }
  void vrrpMibIs(const Kiv::Ptr<VrrpMib>& vrrpMib);

  const Kiv::Ptr<VrrpMibSm>& vrrpMibSm() const { return vrrpMibSm_; }
  // Keeps the machine held when it was built from these very objects; otherwise
  // builds a new one, which mirrors all present state, and releases the old one
  // (whose rows stay in the model).
  Kiv::Ptr<VrrpMibSm> vrrpMibSmIs(const FhrpConfigPtr& fhrpConfig, const VrrpStatusPtr& vrrpStatus,
                                  const AllIntfStatusPtr& allIntfStatus,
                                  const IpStatusPtr& ipStatus, const Kiv::Ptr<VrrpMib>& vrrpMib);
  Kiv::Ptr<VrrpMibSm> newVrrpMibSm(const FhrpConfigPtr& fhrpConfig, const VrrpStatusPtr& vrrpStatus,
                                   const AllIntfStatusPtr& allIntfStatus,
                                   const IpStatusPtr& ipStatus, const Kiv::Ptr<VrrpMib>& vrrpMib);
  // Hands the machine, switched off, to the caller; null when none is held.
  Kiv::Ptr<VrrpMibSm> vrrpMibSmDel();

 private:
  Kiv::Ptr<VrrpMib> vrrpMib_;
  Kiv::Ptr<VrrpMibSm> vrrpMibSm_;
};

Kiv::Ptr<Agent> agentFactory(Kiv::Name name);

}  // namespace FhrpSnmp
