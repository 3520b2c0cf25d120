// SPDX-License-Identifier: Apache-2.0
#pragma once
// The rows of the VRRPv3-MIB model. Like the VRRP-MIB's rows they copy no VRRP state: a row
// points at its router's configuration record and at the status record of its family and reads
// them when asked. What no record holds (the master's address as the MIB defines it, the
// transition count and reasons, when the counters last restarted) the mirroring keeps in the row.
#include "Vrrpv3/Vrrpv3Index.h"
#include "kiv/Ptr.h"
#include "platform/Fhrp/VrrpConfig.h"
#include "platform/Fhrp/VrrpStatus.h"
#include "platform/Fhrp/VrrpStatusV6.h"

namespace Vrrpv3 {

using ConfigPtr = Kiv::Ptr<const Routing::Fhrp::VrrpVirtualRouterConfig>;
using StatusV4Ptr = Kiv::Ptr<const Routing::Fhrp::VirtualRouterStatusV4>;
using StatusV6Ptr = Kiv::Ptr<const Routing::Fhrp::VirtualRouterStatusV6>;

// vrrpv3StatisticsNewMasterReason.
enum class NewMasterReason : int {
  notMaster = 0,
  priority = 1,
  preempted = 2,
  masterNoResponse = 3
};
// vrrpv3StatisticsProtoErrReason.
enum class ProtoErrReason : int {
  noError = 0,
  ipTtlError = 1,
  versionError = 2,
  checksumError = 3,
  vrIdError = 4
};

class OperationsEntry : public Kiv::PtrInterface {
 public:
  // Exactly one of the status records is set, the one of index.family.
  OperationsEntry(const OperIndex& index, ConfigPtr config, StatusV4Ptr v4, StatusV6Ptr v6);

  const OperIndex& index() const { return index_; }
  const ConfigPtr& config() const { return config_; }
  const StatusV4Ptr& statusV4() const { return v4_; }
  const StatusV6Ptr& statusV6() const { return v6_; }

  // Read from the records.
  Routing::Fhrp::FhrpState state() const;
  U32 priority() const { return config_->priority(); }  // as configured
  U32 ipAddrCount() const;
  Lirex::EthAddr virtualMacAddr() const;
  U32 advInterval() const { return config_->advertisementInterval(); }  // centiseconds
  bool preemptMode() const { return config_->preempt(); }
  // IPv4 routers never accept packets for addresses they do not own.
  bool acceptMode() const {
    return index_.family == Lirex::AddrFamily::ipv6 && config_->acceptMode();
  }
  // False for a router shut down by its configuration: its row reads notInService.
  bool active() const;
  // Seconds since the router left initialize (as the VRRP-MIB's up time); 0 when not up.
  double upTime() const;
  U64 rcvdAdvertisements() const;
  U64 advIntervalErrors() const;
  U64 ipTtlErrors() const;
  U64 rcvdPriZeroPackets() const;
  U64 sentPriZeroPackets() const;
  U64 rcvdInvalidTypePackets() const;
  U64 addressListErrors() const;
  U64 packetLengthErrors() const;

  // f(status record) on the record of the row's family.
  template <class F>
  auto visitStatus(F&& f) const {
    return v4_ ? f(*v4_) : f(*v6_);
  }

  // Kept by the mirroring.
  const Lirex::InetAddr& masterIpAddr() const { return masterIpAddr_; }
  void masterIpAddrIs(const Lirex::InetAddr& a) { masterIpAddr_ = a; }
  const Lirex::InetAddr& primaryIpAddr() const { return primaryIpAddr_; }
  void primaryIpAddrIs(const Lirex::InetAddr& a) { primaryIpAddr_ = a; }
  U32 masterTransitions() const { return masterTransitions_; }  // entries into master
  void masterTransitionsInc() { ++masterTransitions_; }
  NewMasterReason newMasterReason() const { return newMasterReason_; }
  void newMasterReasonIs(NewMasterReason r) { newMasterReason_ = r; }
  ProtoErrReason protoErrReason() const { return protoErrReason_; }
  void protoErrReasonIs(ProtoErrReason r) { protoErrReason_ = r; }
  // Loop::EventLoop::now() seconds of the last discontinuity of the row's counters; 0: none
  // since the agent started.
  double discontinuityAt() const { return discontinuityAt_; }
  void discontinuityAtIs(double at) { discontinuityAt_ = at; }

 private:
  const OperIndex index_;
  const ConfigPtr config_;
  const StatusV4Ptr v4_;
  const StatusV6Ptr v6_;
  Lirex::InetAddr masterIpAddr_;
  Lirex::InetAddr primaryIpAddr_;
  U32 masterTransitions_ = 0;
  NewMasterReason newMasterReason_ = NewMasterReason::notMaster;
  ProtoErrReason protoErrReason_ = ProtoErrReason::noError;
  double discontinuityAt_ = 0;
};

class AssociatedIpAddrEntry : public Kiv::PtrInterface {
 public:
  explicit AssociatedIpAddrEntry(const AddrIndex& index) : index_(index) {}
  const AddrIndex& index() const { return index_; }

 private:
  const AddrIndex index_;
};

}  // namespace Vrrpv3
