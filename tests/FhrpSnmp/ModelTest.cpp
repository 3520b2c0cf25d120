// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "FhrpSnmp/VrrpMib.h"
#include "kiv/Clock.h"
#include "kiv/Exception.h"

namespace {

using FhrpSnmp::VrrpIndex;
using FhrpSnmp::VrrpIpIndex;
using Lirex::IpAddr;

template <class T>
std::string parseError(const std::string& text) {
  try {
    FhrpSnmp::strepToValue<T>(text);
  } catch (const Kiv::RangeException& e) {
    return e.message();
  }
  return "(parsed)";
}

TEST(VrrpIndexTest, OrdersFieldByFieldWithDeclaredSignedness) {
  EXPECT_LT(VrrpIndex(-1, 5), VrrpIndex(0, 0));
  EXPECT_LT(VrrpIndex(1, 1), VrrpIndex(1, 4294967295u));
  EXPECT_LT(VrrpIpIndex(1, 1, IpAddr(10, 0, 0, 2)), VrrpIpIndex(1, 1, IpAddr(10, 0, 1, 0)));
  // The address is consulted only when ifIndex and vrId tie.
  EXPECT_LT(VrrpIpIndex(1, 9, IpAddr(255, 0, 0, 0)), VrrpIpIndex(2, 0, IpAddr(0, 0, 0, 1)));
}

// Text forms round-trip: the keys' fuzz target, whose seeds every build replays.
TEST(VrrpIndexTest, ParserErrorsSayWhatWasWrong) {
  EXPECT_EQ(parseError<VrrpIndex>("Value('FhrpSnmp::VrrpIndex', ** {'ifIndex': 1"),
            "premature end of value type VrrpIndex");
  EXPECT_EQ(parseError<VrrpIpIndex>("Value('FhrpSnmp::VrrpIpIndex', ** {"),
            "premature end of value type VrrpIpIndex");
  EXPECT_EQ(parseError<VrrpIndex>("Value('FhrpSnmp::VrrpIndex', ** {'ipAddr': 1.2.3.4})"),
            "VrrpIndex has no such attribute: ipAddr");
  std::string junk = "Value('FhrpSnmp::VrrpIndex', ** {'vrId': 1}) x";
  EXPECT_EQ(parseError<VrrpIndex>(junk), "junk at column 45 deserializing " + junk);
  EXPECT_NE(parseError<VrrpIndex>("Value('FhrpSnmp::VrrpIndex', ** {'ifIndex': 2147483648})")
                .find("ifIndex"),
            std::string::npos);
  EXPECT_NE(parseError<VrrpIpIndex>("Value('FhrpSnmp::VrrpIpIndex', ** {'ipAddr': 1.2.3})")
                .find("ipAddr"),
            std::string::npos);
  EXPECT_NE(parseError<VrrpIndex>("Value('FhrpSnmp::VrrpIpIndex', ** {})"), "(parsed)");
}

// A row belongs to the records it was made with.
TEST(VrrpMibTest, IsRefusesOtherRecordsForAnExistingRow) {
  auto mib = FhrpSnmp::vrrpMibFactory("vrrpMIB");
  auto config = Kiv::make<Routing::Fhrp::VrrpVirtualRouterConfig>(5);
  auto status = Kiv::make<Routing::Fhrp::VirtualRouterStatusV4>(5);
  auto row = mib->operTableIs(VrrpIndex(1, 5), config, status);
  auto otherConfig = Kiv::make<Routing::Fhrp::VrrpVirtualRouterConfig>(5);
  EXPECT_THROW(mib->operTableIs(VrrpIndex(1, 5), otherConfig, status), Kiv::NameInUseException);
  EXPECT_THROW(mib->operTableIs(VrrpIndex(1, 5), config, nullptr), Kiv::NameInUseException);
  EXPECT_THROW(mib->routerStatsTableIs(VrrpIndex(1, 5), status).ptr() &&
                   mib->routerStatsTableIs(VrrpIndex(1, 5), nullptr),
               Kiv::NameInUseException);
  EXPECT_EQ(mib->operTable(VrrpIndex(1, 5)), row);
  EXPECT_EQ(mib->changeCount(), 2u);  // one operTableIs, one routerStatsTableIs
}

}  // namespace
