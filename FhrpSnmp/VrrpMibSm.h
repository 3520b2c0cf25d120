// SPDX-License-Identifier: Apache-2.0
#pragma once
// Decides for which virtual routers a VrrpMibEntrySm exists: one per (interface,
// virtual-router id) that the FHRP configuration and status both hold, on an
// interface with a status record. Keeps each machine's own address current and
// retires machines whose configuration or status goes. It writes no rows itself.
#include <map>
#include <vector>

#include "FhrpSnmp/VrrpMibEntrySm.h"
#include "platform/Fhrp/VrrpConfig.h"
#include "platform/Fhrp/VrrpStatus.h"
#include "platform/Interface/IntfStatus.h"
#include "platform/Ip/IpStatus.h"

namespace FhrpSnmp {

using FhrpConfigPtr = Kiv::Ptr<const Routing::Fhrp::Config>;
using VrrpStatusPtr = Kiv::Ptr<const Routing::Fhrp::StatusV4>;
using AllIntfStatusPtr = Kiv::Ptr<const Interface::AllIntfStatusDir>;
using IpStatusPtr = Kiv::Ptr<const Ip::Status>;

class VrrpMibSm : public Kiv::PtrInterface {
 public:
  // Reactors on the roots of the inputs (VrrpMibSmReactors.h).
  class KivFhrpConfig;
  class KivVrrpConfig;
  class KivVrrpStatus;
  class KivIpStatus;
  // Reactors on one interface's records (VrrpMibSmReactors.h).
  class KivIpIntfStatus;
  class KivVrIntfConfig;
  class KivVrIntfStatus;

  using VrrpMibEntrySmMap = std::map<VrrpMibEntrySmId, Kiv::Ptr<VrrpMibEntrySm>>;

  // Mirrors everything present at once; notifications stay off until
  // hasNotificationActiveIs(true) (vrrpMibSmFactory does that).
  VrrpMibSm(const FhrpConfigPtr& fhrpConfig, const VrrpStatusPtr& vrrpStatus,
            const AllIntfStatusPtr& allIntfStatus, const IpStatusPtr& ipStatus,
            const Kiv::Ptr<VrrpMib>& vrrpMib);
  // Stops every reactor and drops the entry machines without deleting their rows.
  ~VrrpMibSm() override;

  // Constructor parameters.
  FhrpConfigPtr fhrpConfig() const;
  VrrpStatusPtr vrrpStatus() const;
  const AllIntfStatusPtr& allIntfStatus() const { return allIntfStatus_; }
  IpStatusPtr ipStatus() const;
  const Kiv::Ptr<VrrpMib>& vrrpMib() const { return vrrpMib_; }

  // Always fhrpConfig's vrrpConfig.
  Kiv::Ptr<const Routing::Fhrp::VrrpConfig> vrrpConfig() const;
  void vrrpConfigIs(const Kiv::Ptr<const Routing::Fhrp::VrrpConfig>& record);

  // The entry machines. An ...Is for a present key returns the member as it is.
  const VrrpMibEntrySmMap& vrrpMibEntrySm() const { return vrrpMibEntrySm_; }
  Kiv::Ptr<VrrpMibEntrySm> vrrpMibEntrySm(const VrrpMibEntrySmId& id) const;
  Kiv::Ptr<VrrpMibEntrySm> vrrpMibEntrySmIs(const VrrpMibEntrySmId& id,
                                            const IntfStatusPtr& intfStatus,
                                            const ConfigPtr& vrConfig, const StatusPtr& vrStatus,
                                            const Kiv::Ptr<VrrpMib>& vrrpMib);
  void vrrpMibEntrySmDel(const VrrpMibEntrySmId& id);

  // The per-interface reactors, one per input record. Null records are refused.
  Kiv::Ptr<KivIpIntfStatus> ipIntfStatus(const Lirex::IntfId& intfId) const;
  Kiv::Ptr<KivIpIntfStatus> ipIntfStatusIs(const Kiv::Ptr<const Ip::IpIntfStatus>& record);
  void ipIntfStatusDel(const Lirex::IntfId& intfId);
  Kiv::Ptr<KivVrIntfConfig> vrIntfConfig(const Lirex::IntfId& intfId) const;
  Kiv::Ptr<KivVrIntfConfig> vrIntfConfigIs(
      const Kiv::Ptr<const Routing::Fhrp::VrrpIntfConfig>& record);
  void vrIntfConfigDel(const Lirex::IntfId& intfId);
  Kiv::Ptr<KivVrIntfStatus> vrIntfStatus(const Lirex::IntfId& intfId) const;
  Kiv::Ptr<KivVrIntfStatus> vrIntfStatusIs(
      const Kiv::Ptr<const Routing::Fhrp::VirtualRouterIntfStatusV4>& record);
  void vrIntfStatusDel(const Lirex::IntfId& intfId);

  // While false, the handlers that act do nothing.
  bool initialized() const { return initialized_; }
  void initializedIs(bool initialized) { initialized_ = initialized; }
  // Switches every reactor of this machine (not those of the entry machines).
  bool notificationActive() const { return notificationActive_; }
  void hasNotificationActiveIs(bool active);

  void createMibEntrySm(const Lirex::IntfId& intfId, Routing::Fhrp::VrId vrId);
  void deleteMibEntrySm(const Lirex::IntfId& intfId, Routing::Fhrp::VrId vrId);
  void deleteMibIntfSm(const Lirex::IntfId& intfId);
  void handleInterface(const Lirex::IntfId& intfId);
  void handleInterface();
  void handleIpStatus(const Lirex::IntfId& intfId);
  void handleInitialized();

  // The input records of one interface, or null.
  Kiv::Ptr<const Routing::Fhrp::VrrpIntfConfig> intfConfigRecord(const Lirex::IntfId& id) const;
  Kiv::Ptr<const Routing::Fhrp::VirtualRouterIntfStatusV4> intfStatusV4Record(
      const Lirex::IntfId& id) const;
  Kiv::Ptr<const Ip::IpIntfStatus> ipIntfStatusRecord(const Lirex::IntfId& id) const;
  IntfStatusPtr intfStatusRecord(const Lirex::IntfId& id) const;
  // The virtual-router ids of this interface's entry machines.
  std::vector<Routing::Fhrp::VrId> vrIdsOf(const Lirex::IntfId& intfId) const;

 private:
  template <class Reactor, class Record>
  Kiv::Ptr<Reactor> newReactor(const Kiv::Ptr<const Record>& record);
  // Bring a reactor collection in line with its input collection.
  void vrIntfConfigResync();
  void vrIntfStatusResync();
  // An interface that left the input gets handleIpStatus before its reactor goes.
  void ipIntfStatusResync();

  const AllIntfStatusPtr allIntfStatus_;
  const Kiv::Ptr<VrrpMib> vrrpMib_;
  Kiv::Ptr<KivFhrpConfig> kivFhrpConfig_;
  Kiv::Ptr<KivVrrpStatus> kivVrrpStatus_;
  Kiv::Ptr<KivIpStatus> kivIpStatus_;
  Kiv::Ptr<KivVrrpConfig> kivVrrpConfig_;
  VrrpMibEntrySmMap vrrpMibEntrySm_;
  std::map<Lirex::IntfId, Kiv::Ptr<KivIpIntfStatus>> ipIntfStatus_;
  std::map<Lirex::IntfId, Kiv::Ptr<KivVrIntfConfig>> vrIntfConfig_;
  std::map<Lirex::IntfId, Kiv::Ptr<KivVrIntfStatus>> vrIntfStatus_;
  bool initialized_ = false;
  bool notificationActive_ = false;
};

Kiv::Ptr<VrrpMibSm> vrrpMibSmFactory(const FhrpConfigPtr& fhrpConfig,
                                     const VrrpStatusPtr& vrrpStatus,
                                     const AllIntfStatusPtr& allIntfStatus,
                                     const IpStatusPtr& ipStatus, const Kiv::Ptr<VrrpMib>& vrrpMib);

}  // namespace FhrpSnmp
