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
  EXPECT_TRUE(VrrpIndex(3, 4) <= VrrpIndex(3, 4) && VrrpIndex(3, 4) >= VrrpIndex(3, 4));
  EXPECT_NE(VrrpIndex(3, 4), VrrpIndex(3, 5));
}

TEST(VrrpIndexTest, TextFormsRoundTrip) {
  EXPECT_EQ(FhrpSnmp::valueToStrep(VrrpIndex(1000001, 7)),
            "Value('FhrpSnmp::VrrpIndex', ** {'ifIndex': 1000001, 'vrId': 7})");
  for (VrrpIndex v : {VrrpIndex(-2147483647 - 1, 4294967295u), VrrpIndex(-1, 0), VrrpIndex()}) {
    EXPECT_EQ(FhrpSnmp::strepToValue<VrrpIndex>(FhrpSnmp::valueToStrep(v)), v);
  }
  VrrpIpIndex ip(-5, 255, IpAddr(192, 0, 2, 1));
  std::ostringstream os;
  os << ip;
  EXPECT_EQ(os.str(), FhrpSnmp::valueToStrep(ip));
  EXPECT_EQ(FhrpSnmp::strepToValue<VrrpIpIndex>(os.str()), ip);
}

TEST(VrrpIndexTest, ParserErrorsSayWhatWasWrong) {
  EXPECT_EQ(parseError<VrrpIndex>("Value('FhrpSnmp::VrrpIndex', ** {'ifIndex': 1"),
            "premature end of value type VrrpIndex");
  EXPECT_EQ(parseError<VrrpIpIndex>("Value('FhrpSnmp::VrrpIpIndex', ** {"),
            "premature end of value type VrrpIpIndex");
  EXPECT_EQ(parseError<VrrpIndex>("Value('FhrpSnmp::VrrpIndex', ** {'ipAddr': 1.2.3.4})"),
            "VrrpIndex has no such attribute: ipAddr");
  EXPECT_EQ(parseError<VrrpIndex>("Value('FhrpSnmp::VrrpIndex', ** {'IfIndex': 1})"),
            "VrrpIndex has no such attribute: IfIndex");
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
  try {
    mib->operTableIs(VrrpIndex(1, 5), otherConfig, status);
    FAIL();
  } catch (const Kiv::NameInUseException& e) {
    EXPECT_EQ(e.message(),
              "Reinstantiating the pointer interface where constructor parameter attribute "
              "_config has a different value of " +
                  Kiv::ptrToStrep(otherConfig) + " than the current value of " +
                  Kiv::ptrToStrep(config) + " not allowed");
  }
  try {
    mib->operTableIs(VrrpIndex(1, 5), config, nullptr);
    FAIL();
  } catch (const Kiv::NameInUseException& e) {
    EXPECT_NE(e.message().find("_status has a different value of null"), std::string::npos);
  }
  EXPECT_THROW(mib->routerStatsTableIs(VrrpIndex(1, 5), status).ptr() &&
                   mib->routerStatsTableIs(VrrpIndex(1, 5), nullptr),
               Kiv::NameInUseException);
  EXPECT_EQ(mib->operTable(VrrpIndex(1, 5)), row);
  EXPECT_EQ(mib->changeCount(), 2u);  // one operTableIs, one routerStatsTableIs
}

}  // namespace
