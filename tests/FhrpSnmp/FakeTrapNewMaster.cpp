// SPDX-License-Identifier: Apache-2.0
#include "tests/FhrpSnmp/FakeTrapNewMaster.h"

namespace FakeTrap {

std::vector<Call>& calls() {
  static std::vector<Call> c;
  return c;
}

std::function<void()>& hook() {
  static std::function<void()> h;
  return h;
}

}  // namespace FakeTrap

int Snmp::vrrpTrapNewMasterNotify(Lirex::IpAddr masterIpAddr, U32 ifIndex, U32 vrId) {
  FakeTrap::calls().push_back({masterIpAddr, ifIndex, vrId});
  if (auto hook = FakeTrap::hook()) hook();  // a copy: the hook may replace itself
  return 0;
}
