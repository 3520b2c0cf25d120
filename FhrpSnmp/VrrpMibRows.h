// SPDX-License-Identifier: Apache-2.0
#pragma once
// The rows of the VRRP-MIB model. Rows do not copy VRRP state: an OperEntry points
// at its virtual router's configuration and status records and reads them when
// asked, so a row is always as current as the records.
#include "FhrpSnmp/VrrpIndex.h"
#include "kiv/Ptr.h"
#include "platform/Fhrp/VrrpConfig.h"
#include "platform/Fhrp/VrrpStatus.h"

namespace FhrpSnmp {

using ConfigPtr = Kiv::Ptr<const Routing::Fhrp::VrrpVirtualRouterConfig>;
using StatusPtr = Kiv::Ptr<const Routing::Fhrp::VirtualRouterStatusV4>;

class OperEntry : public Kiv::PtrInterface {
 public:
  OperEntry(const VrrpIndex& index, ConfigPtr config, StatusPtr status)
      : index_(index), config_(std::move(config)), status_(std::move(status)) {}

  const VrrpIndex& index() const { return index_; }
  S32 ifIndex() const { return index_.ifIndex; }
  U32 vrId() const { return index_.vrId; }
  const ConfigPtr& config() const { return config_; }
  const StatusPtr& status() const { return status_; }

  bool preempt() const { return config_ ? config_->preempt() : false; }
  Interface::IntfEnabledState adminState() const {
    return config_ ? config_->adminState() : Interface::IntfEnabledState{};
  }
  Lirex::VrrpAuthType authType() const {
    return config_ ? config_->authType() : Lirex::VrrpAuthType{};
  }
  Kiv::String8 authKey() const { return config_ ? config_->authKey() : Kiv::String8(); }
  // Hundredths of a second, as configured.
  U32 advertisementInterval_() const { return config_ ? config_->advertisementInterval() : 0; }
  // Whole seconds, as the MIB reports it.
  U32 advertisementInterval() const { return advertisementInterval_() / 100; }

  U32 priority() const { return status_ ? status_->priority() : 0; }
  U32 ipAddrCount() const { return status_ ? status_->ipAddrCount() : 0; }
  Lirex::EthAddr virtualMacAddr() const {
    return status_ ? status_->virtualMacAddr() : Lirex::EthAddr();
  }
  Routing::Fhrp::FhrpState fhrpState() const {
    return status_ ? status_->state() : Routing::Fhrp::FhrpState{};
  }
  // Seconds since the current up period began; 0 when not up.
  double totalVrUpTime() const;

  const Lirex::IpAddr& masterIpAddr() const { return masterIpAddr_; }
  void masterIpAddrIs(const Lirex::IpAddr& a) { masterIpAddr_ = a; }
  // Part of the row's attribute set, but nothing ever feeds it.
  Lirex::IpAddr primaryIpAddr() const { return Lirex::IpAddr(); }

 private:
  const VrrpIndex index_;
  const ConfigPtr config_;
  const StatusPtr status_;
  Lirex::IpAddr masterIpAddr_;
};

class AssoIpAddrEntry : public Kiv::PtrInterface {
 public:
  explicit AssoIpAddrEntry(const VrrpIpIndex& index) : index_(index) {}
  const VrrpIpIndex& index() const { return index_; }
  S32 ifIndex() const { return index_.ifIndex; }
  U32 vrId() const { return index_.vrId; }
  const Lirex::IpAddr& ipAddr() const { return index_.ipAddr; }

 private:
  const VrrpIpIndex index_;
};

// The statistics counters exist in the row, but no source feeds them: each reads 0.
class RouterStatsEntry : public Kiv::PtrInterface {
 public:
  RouterStatsEntry(const VrrpIndex& index, StatusPtr status)
      : index_(index), status_(std::move(status)) {}
  const VrrpIndex& index() const { return index_; }
  S32 ifIndex() const { return index_.ifIndex; }
  U32 vrId() const { return index_.vrId; }
  const StatusPtr& status() const { return status_; }

  U64 becomeMaster() const { return 0; }
  U64 advertiseRcvd() const { return 0; }
  U64 advertiseIntervalErrors() const { return 0; }
  U64 authFailures() const { return 0; }
  U64 ipTtlErrors() const { return 0; }
  U64 priorityZeroPktsRcvd() const { return 0; }
  U64 priorityZeroPktsSent() const { return 0; }
  U64 invalidTypePktsRcvd() const { return 0; }
  U64 addressListErrors() const { return 0; }
  U64 invalidAuthType() const { return 0; }
  U64 authTypeMismatch() const { return 0; }
  U64 packetLengthErrors() const { return 0; }

 private:
  const VrrpIndex index_;
  const StatusPtr status_;
};

}  // namespace FhrpSnmp
