// SPDX-License-Identifier: Apache-2.0
#include "Vrrpv3/Vrrpv3EntrySm.h"

#include <functional>
#include <type_traits>

#include "FhrpSnmp/MachineSupport.h"
#include "snmpv3/Vrrpv3Notifications.h"

namespace Vrrpv3 {

using FhrpSnmp::entryTrace;
using Routing::Fhrp::FhrpState;

// The reactor on the router's status record of the row's family: what both families share.
template <class Status>
class EntrySm::StatusReactor : public FhrpSnmp::MachineReactor<EntrySm, Status> {
  using Base = FhrpSnmp::MachineReactor<EntrySm, Status>;
  using Addr =
      typename std::remove_cvref_t<decltype(std::declval<const Status&>().ipAddrs())>::key_type;

 public:
  using Base::Base;

  void onState() override { run(&EntrySm::handleState); }
  void onSrcAddr() override { run(&EntrySm::handleAddresses); }
  void onIpAddrs() override { run(&EntrySm::handleIpAddrs); }
  void onIpAddrs(const Addr& addr) override {
    const Lirex::InetAddr a(addr);
    run([&a](EntrySm& m) { m.handleIpAddr(a); });
  }
#define VRRPV3_ON_COUNTER(T, n, N, init) \
  void on##N() override {                \
    run(&EntrySm::handleCounters);       \
  }
#define VRRPV3_NO_COLLECTION(K, V, n, N)
  FHRP_VRRP_ROUTER_STATISTICS_ATTRS(VRRPV3_ON_COUNTER, VRRPV3_NO_COLLECTION)
#undef VRRPV3_ON_COUNTER
#undef VRRPV3_NO_COLLECTION

 protected:
  template <class F>
  void run(F f) {
    auto h = this->hold();
    if (this->live()) std::invoke(f, *this->machine());
  }
};

// Only the IPv6 status says the router's own address.
class EntrySm::V6Reactor : public StatusReactor<Routing::Fhrp::VirtualRouterStatusV6> {
 public:
  using StatusReactor::StatusReactor;
  void onPrimaryAddr() override { run(&EntrySm::handleAddresses); }
};

EntrySm::EntrySm(const OperIndex& index, const ConfigPtr& config, const StatusV4Ptr& v4,
                 const StatusV6Ptr& v6, const Kiv::Ptr<Vrrpv3Mib>& mib, Loop::EventLoop& loop,
                 bool startup)
    : index_(index), mib_(mib), loop_(loop) {
  KIV_TRACE(entryTrace(), 7, "Creating VRRPv3 row, " << index);
  row_ = mib_->operationsTableIs(index, config, v4, v6);
  if (!startup) row_->discontinuityAtIs(loop_.now());
  lastState_ = row_->state();
  if (lastState_ == FhrpState::master) row_->newMasterReasonIs(NewMasterReason::priority);
  lastCounts_ = counts();
  if (v4) {
    reactor_ = Kiv::make<StatusReactor<Routing::Fhrp::VirtualRouterStatusV4>>(v4, this);
  } else {
    reactor_ = Kiv::make<V6Reactor>(v6, this);
  }
  handleAddresses();
  handleIpAddrs();
}

EntrySm::~EntrySm() {
  reactor_->teardown();
}

void EntrySm::deleteRows() {
  KIV_TRACE(entryTrace(), 7, "Deleting VRRPv3 row, " << index_);
  for (const Lirex::InetAddr& addr : addrs_) {
    mib_->associatedIpAddrTableDel({index_.ifIndex, index_.vrId, index_.family, addr});
  }
  addrs_.clear();
  mib_->operationsTableDel(index_);
}

void EntrySm::interfaceAddrIs(const Lirex::IpAddr& addr) {
  if (addr == interfaceAddr_) return;
  interfaceAddr_ = addr;
  handleAddresses();
}

Lirex::InetAddr EntrySm::ownAddr() const {
  if (index_.family == Lirex::AddrFamily::ipv4) {
    return interfaceAddr_.isZero() ? Lirex::InetAddr(row_->statusV4()->srcAddr())
                                   : Lirex::InetAddr(interfaceAddr_);
  }
  const auto& s = *row_->statusV6();
  return s.primaryAddr().isZero() ? s.srcAddr() : s.primaryAddr();
}

void EntrySm::handleAddresses() {
  KIV_TRACE(entryTrace(), 8, "void Vrrpv3::EntrySm::handleAddresses()");
  const bool v4 = index_.family == Lirex::AddrFamily::ipv4;
  row_->primaryIpAddrIs(v4 ? Lirex::InetAddr(interfaceAddr_) : row_->statusV6()->primaryAddr());
  Lirex::InetAddr master = Lirex::InetAddr::zero(index_.family);
  switch (row_->state()) {
    case FhrpState::master:
      master = ownAddr();
      break;
    case FhrpState::backup:
      master = v4 ? Lirex::InetAddr(row_->statusV4()->srcAddr()) : row_->statusV6()->srcAddr();
      break;
    default:
      break;
  }
  row_->masterIpAddrIs(master);
  if (newMasterOwed_ && !master.isZero()) sendNewMaster();
}

void EntrySm::handleState() {
  const FhrpState state = row_->state();
  KIV_TRACE(entryTrace(), 7, "New state of VRRPv3 row " << index_ << " is " << state);
  const FhrpState before = std::exchange(lastState_, state);
  if (state != FhrpState::master) {
    newMasterOwed_ = false;
    row_->newMasterReasonIs(NewMasterReason::notMaster);
  } else if (before != FhrpState::master) {
    NewMasterReason reason = NewMasterReason::priority;
    if (before == FhrpState::backup) {
      const U32 heard = row_->visitStatus([](const auto& s) { return s.masterPriority(); });
      const bool preempted = row_->preemptMode() && heard != 0 && heard < row_->priority();
      reason = preempted ? NewMasterReason::preempted : NewMasterReason::masterNoResponse;
    }
    row_->newMasterReasonIs(reason);
    row_->masterTransitionsInc();
    newMasterOwed_ = true;
  }
  handleAddresses();
}

void EntrySm::sendNewMaster() {
  newMasterOwed_ = false;
  KIV_TRACE(entryTrace(), 7,
            "Sending vrrpv3NewMaster for " << index_ << ", master " << row_->masterIpAddr());
  Snmp::vrrpv3NewMasterNotify(index_.ifIndex, index_.vrId, index_.family, row_->masterIpAddr(),
                              static_cast<int>(row_->newMasterReason()));
}

void EntrySm::handleIpAddr(const Lirex::InetAddr& addr) {
  const bool wanted = row_->visitStatus([&addr](const auto& s) {
    if constexpr (std::is_same_v<std::remove_cvref_t<decltype(s)>,
                                 Routing::Fhrp::VirtualRouterStatusV4>) {
      return addr.isV4() && s.ipAddrs(addr.v4());
    } else {
      return s.ipAddrs(addr);
    }
  }) && addr.family() == index_.family &&
                      !addr.isZero();
  const AddrIndex key{index_.ifIndex, index_.vrId, index_.family, addr};
  if (wanted && addrs_.insert(addr).second) {
    mib_->associatedIpAddrTableIs(key);
  } else if (!wanted && addrs_.erase(addr)) {
    mib_->associatedIpAddrTableDel(key);
  }
}

void EntrySm::handleIpAddrs() {
  std::set<Lirex::InetAddr> seen = addrs_;
  row_->visitStatus([&seen](const auto& s) {
    for (const auto& [addr, up] : s.ipAddrs()) seen.insert(Lirex::InetAddr(addr));
    return 0;
  });
  for (const Lirex::InetAddr& addr : seen) handleIpAddr(addr);
}

EntrySm::Counts EntrySm::counts() const {
  return row_->visitStatus([](const auto& s) {
    return Counts{s.ipTtlErrors(),        s.versionErrors(),       s.checksumErrors(),
                  s.advertisementsRcvd(), s.advIntervalErrors(),   s.priZeroPktsRcvd(),
                  s.priZeroPktsSent(),    s.invalidTypePktsRcvd(), s.addressListErrors(),
                  s.packetLengthErrors()};
  });
}

void EntrySm::handleCounters() {
  const Counts now = counts();
  const Counts before = std::exchange(lastCounts_, now);
  for (std::size_t i = 0; i < now.size(); ++i) {
    if (now[i] < before[i]) {
      // The source restarted its count: no rise can be told from it.
      KIV_TRACE(entryTrace(), 7, "Counters of VRRPv3 row " << index_ << " restarted");
      row_->discontinuityAtIs(loop_.now());
      return;
    }
  }
  constexpr ProtoErrReason kReasons[] = {ProtoErrReason::ipTtlError, ProtoErrReason::versionError,
                                         ProtoErrReason::checksumError};
  for (std::size_t i = 0; i < std::size(kReasons); ++i) {
    if (now[i] > before[i]) sendProtoError(kReasons[i]);
  }
}

void EntrySm::sendProtoError(ProtoErrReason reason) {
  row_->protoErrReasonIs(reason);
  double& sentAt = protoErrorSentAt_[static_cast<std::size_t>(reason)];
  const double now = loop_.now();
  // A flood of bad packets is one alarm a minute, not a flood of notifications.
  if (sentAt != 0 && now - sentAt < kProtoErrorSeconds) return;
  sentAt = now;
  KIV_TRACE(entryTrace(), 7,
            "Sending vrrpv3ProtoError for " << index_ << ", reason " << static_cast<int>(reason));
  Snmp::vrrpv3ProtoErrorNotify(index_.ifIndex, index_.vrId, index_.family,
                               static_cast<int>(reason));
}

}  // namespace Vrrpv3
