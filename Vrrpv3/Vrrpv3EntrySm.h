// SPDX-License-Identifier: Apache-2.0
#pragma once
// Mirrors one version 3 virtual router of one address family into the VRRPv3-MIB model: its
// operations row (which is also its statistics row) and one associated-address row per virtual
// address, for as long as the machine lives (Vrrpv3Sm decides that).
//
// What the records give becomes MIB values here:
// - master address: the router's own primary address while master (IPv4: its interface's
//   primary address, else the status's srcAddr; IPv6: primaryAddr, else srcAddr), the
//   advertiser's source heard on the wire (srcAddr) while backup, zero otherwise;
// - master transitions: entries into master this machine saw. A router first seen already
//   master (the agent started, the router appeared or moved to another ifIndex) counts none and
//   notifies nothing: the agent did not see it become master;
// - new-master reason, on each entry into master: priority(1) from initialize (the router won the
//   election on its priority), preempted(2) from backup when it preempts and the master it heard
//   last advertised a lower priority than its own, masterNoResponse(3) from backup otherwise (the
//   master-down timer ran out, or the master resigned with priority 0); notMaster(0) while not
//   master. A router first seen master reads priority(1);
// - protocol-error reason: the kind of error whose count rose last (TTL, version, checksum);
// - discontinuity: a counter that went down means the source restarted its count; the row's
//   discontinuity time is then now. A row made after the agent's start has its creation as one.
//
// vrrpv3NewMaster goes out for every entry into master (once the master's address is known);
// vrrpv3ProtoError when an error count rises, at most once a minute per reason.
#include <array>
#include <set>

#include "Vrrpv3/Vrrpv3Mib.h"
#include "platform/Loop/EventLoop.h"

namespace Vrrpv3 {

class EntrySm : public Kiv::PtrInterface {
 public:
  static constexpr double kProtoErrorSeconds = 60;

  // `startup`: the machine mirrors what was there when the agent started.
  EntrySm(const OperIndex& index, const ConfigPtr& config, const StatusV4Ptr& v4,
          const StatusV6Ptr& v6, const Kiv::Ptr<Vrrpv3Mib>& mib, Loop::EventLoop& loop,
          bool startup);
  // Stops its reactor; the rows stay until deleteRows.
  ~EntrySm() override;

  const OperIndex& index() const { return index_; }
  const Kiv::Ptr<OperationsEntry>& row() const { return row_; }

  // The IPv4 router's interface address (Ip::IpIntfStatus), pushed by Vrrpv3Sm.
  void interfaceAddrIs(const Lirex::IpAddr& addr);
  void deleteRows();

  // Handlers, run by the reactor.
  void handleState();
  void handleAddresses();
  void handleIpAddr(const Lirex::InetAddr& addr);
  void handleIpAddrs();
  void handleCounters();

 private:
  class Reactor;
  template <class Status>
  class StatusReactor;
  class V6Reactor;
  // The counters whose rise or fall the machine follows, in a fixed order; the first three are
  // the protocol errors, in the order of their reasons.
  using Counts = std::array<U64, 10>;
  Counts counts() const;
  Lirex::InetAddr ownAddr() const;
  void sendNewMaster();
  void sendProtoError(ProtoErrReason reason);

  const OperIndex index_;
  const Kiv::Ptr<Vrrpv3Mib> mib_;
  Loop::EventLoop& loop_;
  Kiv::Ptr<OperationsEntry> row_;
  Kiv::Ptr<Kiv::NotifieeBase> reactor_;
  Lirex::IpAddr interfaceAddr_;
  std::set<Lirex::InetAddr> addrs_;  // of the associated-address rows this machine made
  Routing::Fhrp::FhrpState lastState_;
  bool newMasterOwed_ = false;  // an entry into master whose address is not known yet
  Counts lastCounts_{};
  std::array<double, 5> protoErrorSentAt_{};  // per reason; 0: never
};

}  // namespace Vrrpv3
