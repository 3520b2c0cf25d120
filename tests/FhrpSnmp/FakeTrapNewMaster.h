// SPDX-License-Identifier: Apache-2.0
#pragma once
// Stands in for the SNMP module's new-master notification: records each call, and
// runs an optional hook inside it (to change the world while a machine is busy).
#include <functional>
#include <vector>

#include "snmp/VrrpTrapNewMaster.h"

namespace FakeTrap {

struct Call {
  Lirex::IpAddr addr;
  U32 ifIndex;
  U32 vrId;
  bool operator==(const Call&) const = default;
};

std::vector<Call>& calls();
std::function<void()>& hook();

}  // namespace FakeTrap
