// SPDX-License-Identifier: Apache-2.0
#pragma once
// Maps an interface status record to the interface's IF-MIB ifIndex.
#include "platform/Interface/IntfStatus.h"

namespace IntfSnmp {

class IntfDetails {
 public:
  void statusIs(const Kiv::Ptr<const Interface::IntfStatus>& status) { status_ = status; }
  const Kiv::Ptr<const Interface::IntfStatus>& status() const { return status_; }
  // 0 (not a valid ifIndex) when there is no status record.
  U32 ifIndex() const { return status_ ? status_->ifIndex() : 0; }

 private:
  Kiv::Ptr<const Interface::IntfStatus> status_;
};

}  // namespace IntfSnmp
