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

// Records the keys observers are told about, in order.
struct Observer : FhrpSnmp::VrrpMib::NotifieeConst {
  using NotifieeConst::NotifieeConst;
  void onOperTable(const VrrpIndex& k) override { oper.push_back(k); }
  void onAssoIpAddrTable(const VrrpIpIndex& k) override { asso.push_back(k); }
  void onRouterStatsTable(const VrrpIndex& k) override { stats.push_back(k); }
  std::vector<VrrpIndex> oper, stats;
  std::vector<VrrpIpIndex> asso;
};

struct VrrpMibTest : ::testing::Test {
  Kiv::Ptr<FhrpSnmp::VrrpMib> mib = FhrpSnmp::vrrpMibFactory("vrrpMIB");
  Kiv::Ptr<Observer> observer = Kiv::make<Observer>(mib);
  Kiv::Ptr<Routing::Fhrp::VrrpVirtualRouterConfig> config =
      Kiv::make<Routing::Fhrp::VrrpVirtualRouterConfig>(5);
  Kiv::Ptr<Routing::Fhrp::VirtualRouterStatusV4> status =
      Kiv::make<Routing::Fhrp::VirtualRouterStatusV4>(5);
};

TEST_F(VrrpMibTest, IsRefusesOtherRecordsForAnExistingRow) {
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

TEST_F(VrrpMibTest, ObserverExceptionDoesNotReachTheCaller) {
  struct Thrower : Observer {
    using Observer::Observer;
    void onOperTable(const VrrpIndex&) override { throw Kiv::RangeException("x"); }
    void onNotificationException(Kiv::AttributeId id) override { seen = id; }
    Kiv::AttributeId seen = 0;
  };
  auto thrower = Kiv::make<Thrower>(mib);
  auto second = Kiv::make<Observer>(mib);
  EXPECT_NO_THROW(mib->operTableIs(VrrpIndex(1, 5), config, status));
  EXPECT_EQ(thrower->seen, FhrpSnmp::VrrpMib::operTableId);
  EXPECT_EQ(second->oper.size(), 1u);
}

TEST_F(VrrpMibTest, RowsReadTheirRecordsLive) {
  config->advertisementIntervalIs(250);
  config->adminStateIs(Interface::IntfEnabledState::disabled);
  status->priorityIs(120);
  status->stateIs(Routing::Fhrp::FhrpState::backup);
  auto row = mib->operTableIs(VrrpIndex(1, 5), config, status);
  EXPECT_EQ(row->advertisementInterval(), 2u);
  EXPECT_EQ(row->advertisementInterval_(), 250u);
  EXPECT_EQ(row->priority(), 120u);
  status->priorityIs(90);
  EXPECT_EQ(row->priority(), 90u);
  EXPECT_EQ(row->fhrpState(), Routing::Fhrp::FhrpState::backup);
  EXPECT_EQ(row->adminState(), Interface::IntfEnabledState::disabled);
  EXPECT_TRUE(row->primaryIpAddr().isZero());

  Kiv::clockIs([] { return 1000.0; });
  EXPECT_EQ(row->totalVrUpTime(), 0.0);
  status->upSinceIs(987.5);
  EXPECT_EQ(row->totalVrUpTime(), 12.5);
  Kiv::clockIs(nullptr);

  auto bare = mib->operTableIs(VrrpIndex(2, 1), nullptr, nullptr);
  EXPECT_EQ(bare->advertisementInterval(), 0u);
  EXPECT_EQ(bare->priority(), 0u);
  EXPECT_EQ(bare->fhrpState(), Routing::Fhrp::FhrpState::master);  // zero value of the state
  EXPECT_EQ(bare->totalVrUpTime(), 0.0);
  EXPECT_FALSE(bare->preempt());

  auto stats = mib->routerStatsTableIs(VrrpIndex(1, 5), status);
  EXPECT_EQ(stats->becomeMaster() + stats->advertiseRcvd() + stats->packetLengthErrors(), 0u);
}

}  // namespace
