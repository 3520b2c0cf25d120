// SPDX-License-Identifier: Apache-2.0
#pragma once
// Mirrors one VRRP virtual router into the VRRP-MIB model: while the router's
// configured version is 2 it keeps the router's OperEntry, RouterStatsEntry and one
// AssoIpAddrEntry per virtual address, keeps the OperEntry's master address, and
// sends the new-master notification when the router becomes master.
#include "FhrpSnmp/VrrpMib.h"
#include "FhrpSnmp/VrrpMibEntrySmId.h"
#include "kiv/HashMap.h"
#include "platform/Interface/IntfStatus.h"

namespace FhrpSnmp {

using IntfStatusPtr = Kiv::Ptr<const Interface::IntfStatus>;

class VrrpMibEntrySm : public Kiv::PtrInterface {
 public:
  class KivVrConfig;
  class KivVrStatus;
  using AssoIpAddrEntryMap = Kiv::HashMap<Lirex::IpAddr, Kiv::Ptr<AssoIpAddrEntry>>;

  static inline const Lirex::IpAddr physicalIpAddrDefault{};

  // vrConfig and vrStatus are to be non-null: the handlers read them unchecked.
  // Builds the rows at once when the version is 2.
  VrrpMibEntrySm(const VrrpMibEntrySmId& id, const IntfStatusPtr& intfStatus,
                 const ConfigPtr& vrConfig, const StatusPtr& vrStatus,
                 const Kiv::Ptr<VrrpMib>& vrrpMib);
  // Stops both reactors first; deletes no rows.
  ~VrrpMibEntrySm() override;

  const VrrpMibEntrySmId& id() const { return id_; }
  const IntfStatusPtr& intfStatus() const { return intfStatus_; }
  const Kiv::Ptr<VrrpMib>& vrrpMib() const { return vrrpMib_; }

  // The watched records. Pointing at a different non-null record re-runs that
  // record's rules (rows already made stay bound to the records they were made
  // with); null drops the reactor.
  ConfigPtr vrConfig() const;
  void vrConfigIs(const ConfigPtr& record);
  StatusPtr vrStatus() const;
  void vrStatusIs(const StatusPtr& record);

  // The associated-address rows this machine made, by address.
  const AssoIpAddrEntryMap& assoIpAddrEntry() const { return assoIpAddrEntry_; }
  Kiv::Ptr<AssoIpAddrEntry> assoIpAddrEntry(const Lirex::IpAddr& addr) const;
  size_t assoIpAddrEntrys() const { return assoIpAddrEntry_.size(); }
  void assoIpAddrEntryIs(const Lirex::IpAddr& addr, const Kiv::Ptr<AssoIpAddrEntry>& row);
  void assoIpAddrEntryDel(const Lirex::IpAddr& addr);

  // The router's own address on the interface, set by the creator.
  const Lirex::IpAddr& physicalIpAddr() const { return physicalIpAddr_; }
  void physicalIpAddrIs(const Lirex::IpAddr& addr);
  // False while a new-master notification is owed for want of an own address.
  bool sentMasterTrap() const { return sentMasterTrap_; }
  bool initialized() const { return initialized_; }
  void initializedIs(bool initialized) { initialized_ = initialized; }

  // Recomputed on every use: the interface's ifIndex may change under the machine.
  U32 ifIndex() const;
  VrrpIndex vrrpIndex() const;
  Kiv::Ptr<OperEntry> operEntry() const;
  Kiv::Ptr<RouterStatsEntry> routerStatsEntry() const;

  // Handlers, run by the reactors.
  void handleInitialized();
  void handleVersion();
  void handleState();
  void handleMasterAddr();
  void handlePhysicalIpAddr();
  void handleIpAddr();
  void handleIpAddr(const Lirex::IpAddr& addr);

  // Row maintenance.
  void createMibEntries();
  void deleteMibEntries();
  void createAssoIpAddrEntry(const Lirex::IpAddr& addr);
  void deleteAssoIpAddrEntry(const Lirex::IpAddr& addr);

 private:
  const Routing::Fhrp::VrrpVirtualRouterConfig& config() const;
  const Routing::Fhrp::VirtualRouterStatusV4& status() const;
  bool isVersion2() const { return config().version() == 2; }

  const VrrpMibEntrySmId id_;
  const IntfStatusPtr intfStatus_;
  Kiv::Ptr<KivVrConfig> vrConfig_;
  Kiv::Ptr<KivVrStatus> vrStatus_;
  const Kiv::Ptr<VrrpMib> vrrpMib_;
  AssoIpAddrEntryMap assoIpAddrEntry_;
  Lirex::IpAddr physicalIpAddr_ = physicalIpAddrDefault;
  bool sentMasterTrap_ = true;
  bool initialized_ = false;
};

Kiv::Ptr<VrrpMibEntrySm> vrrpMibEntrySmFactory(const VrrpMibEntrySmId& id,
                                               const IntfStatusPtr& intfStatus,
                                               const ConfigPtr& vrConfig, const StatusPtr& vrStatus,
                                               const Kiv::Ptr<VrrpMib>& vrrpMib);

}  // namespace FhrpSnmp
