// SPDX-License-Identifier: Apache-2.0
#pragma once
// Decides which rows the VRRPv3-MIB has: one EntrySm per (interface, virtual router, address
// family) whose router is configured as version 3, whose status of that family exists, and whose
// interface has a status record with a valid ifIndex (1..2^31-1). Version 2 routers stay in the
// VRRP-MIB alone (FhrpSnmp/), whatever status they report.
//
// Every change to one interface's records (its VRRP configuration and status of either family,
// a router's version, its interface status and ifIndex, its IPv4 address) reconciles that
// interface: machines that no longer match go with their rows, missing ones are made. A machine
// is rebuilt when its router moves to another ifIndex or its records are replaced. It also
// follows the router-wide counters for their discontinuity time.
#include <map>
#include <vector>

#include "Vrrpv3/Vrrpv3EntrySm.h"
#include "platform/Interface/IntfStatus.h"
#include "platform/Ip/IpStatus.h"

namespace Vrrpv3 {

class Vrrpv3Sm : public Kiv::PtrInterface {
 public:
  // The roots of the records, as the state tree holds them for its whole life.
  struct Inputs {
    Kiv::Ptr<const Routing::Fhrp::VrrpConfig> vrrpConfig;
    Kiv::Ptr<const Routing::Fhrp::StatusV4> statusV4;
    Kiv::Ptr<const Routing::Fhrp::StatusV6> statusV6;
    Kiv::Ptr<const Interface::AllIntfStatusDir> allIntfStatus;
    Kiv::Ptr<const Ip::Status> ipStatus;
    GlobalStatisticsPtr globalStatistics;
  };

  // Mirrors what the records hold now, as what was there when the agent started.
  Vrrpv3Sm(const Inputs& inputs, const Kiv::Ptr<Vrrpv3Mib>& mib, Loop::EventLoop& loop);
  // Stops every reactor; the rows stay in the model.
  ~Vrrpv3Sm() override;

  const Kiv::Ptr<Vrrpv3Mib>& mib() const { return mib_; }
  std::size_t entries() const { return entries_.size(); }

  void reconcile(const Lirex::IntfId& intfId);
  void reconcileAll();
  void handleGlobalStatistics();

  template <class Record>
  class Watch;

 private:
  struct Key {
    Lirex::IntfId intfId;
    Routing::Fhrp::VrId vrId = 0;
    Lirex::AddrFamily family = Lirex::AddrFamily::ipv4;
    auto operator<=>(const Key&) const = default;
  };
  // The reactors on one interface's records.
  struct IntfWatch {
    Kiv::Ptr<Kiv::NotifieeBase> config, statusV4, statusV6, intfStatus, ip;
    std::map<Routing::Fhrp::VrId, Kiv::Ptr<Kiv::NotifieeBase>> vrConfig;
  };
  template <class W, class R>
  void watch(Kiv::Ptr<Kiv::NotifieeBase>& slot, const Kiv::Ptr<const R>& record,
             const Lirex::IntfId& intfId);

  const Inputs inputs_;
  const Kiv::Ptr<Vrrpv3Mib> mib_;
  Loop::EventLoop& loop_;
  std::vector<Kiv::Ptr<Kiv::NotifieeBase>> roots_;
  std::map<Lirex::IntfId, IntfWatch> watches_;
  std::map<Key, Kiv::Ptr<EntrySm>> entries_;
  std::array<U64, 3> lastGlobal_{};
  bool startup_ = true;
};

}  // namespace Vrrpv3
