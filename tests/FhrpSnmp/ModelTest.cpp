#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "FhrpSnmp/VrrpMib.h"
#include "kiv/Exception.h"

namespace {

using FhrpSnmp::VrrpIndex;
using FhrpSnmp::VrrpIpIndex;
using Lirex::IpAddr;

// The tables are walked in this order, so it is the order a manager sees.
TEST(VrrpIndexTest, OrdersFieldByFieldWithDeclaredSignedness) {
  EXPECT_LT(VrrpIndex(-1, 5), VrrpIndex(0, 0));
  EXPECT_LT(VrrpIndex(1, 1), VrrpIndex(1, 4294967295u));
  EXPECT_LT(VrrpIpIndex(1, 1, IpAddr(10, 0, 0, 2)), VrrpIpIndex(1, 1, IpAddr(10, 0, 1, 0)));
  EXPECT_LT(VrrpIpIndex(1, 9, IpAddr(255, 0, 0, 0)), VrrpIpIndex(2, 0, IpAddr(0, 0, 0, 1)));
}

// Keys show in traces in this form; its parser's round trip is the fuzz target's business.
TEST(VrrpIndexTest, TextForm) {
  EXPECT_EQ(FhrpSnmp::valueToStrep(VrrpIndex(-2147483647 - 1, 4294967295u)),
            "Value('FhrpSnmp::VrrpIndex', ** {'ifIndex': -2147483648, 'vrId': 4294967295})");
  // Attributes in any order, missing ones default, the last of a repeated one wins.
  EXPECT_EQ(
      FhrpSnmp::strepToValue<VrrpIpIndex>(
          " Value ( 'FhrpSnmp::VrrpIpIndex' , ** { 'vrId' : 3 , 'ifIndex': 7, 'vrId': 2 } ) "),
      VrrpIpIndex(7, 2, IpAddr()));
  EXPECT_THROW(FhrpSnmp::strepToValue<VrrpIndex>("Value('FhrpSnmp::VrrpIndex', ** {'IfIndex': 1})"),
               Kiv::RangeException);
}

// Records the keys observers are told about, in order.
struct Observer : FhrpSnmp::VrrpMib::NotifieeConst {
  using NotifieeConst::NotifieeConst;
  void onOperTable(const VrrpIndex& k) override { oper.push_back(k); }
  std::vector<VrrpIndex> oper;
};

struct VrrpMibTest : ::testing::Test {
  Kiv::Ptr<FhrpSnmp::VrrpMib> mib = FhrpSnmp::vrrpMibFactory("vrrpMIB");
  Kiv::Ptr<Observer> observer = Kiv::make<Observer>(mib);
  Kiv::Ptr<Routing::Fhrp::VrrpVirtualRouterConfig> config =
      Kiv::make<Routing::Fhrp::VrrpVirtualRouterConfig>(5);
  Kiv::Ptr<Routing::Fhrp::VirtualRouterStatusV4> status =
      Kiv::make<Routing::Fhrp::VirtualRouterStatusV4>(5);
};

TEST_F(VrrpMibTest, IsFindsOrCreatesAndRefusesOtherRecordsForAnExistingRow) {
  auto row = mib->operTableIs(VrrpIndex(1, 5), config, status);
  EXPECT_EQ(mib->operTableIs(VrrpIndex(1, 5), config, status), row);
  auto other = Kiv::make<Routing::Fhrp::VrrpVirtualRouterConfig>(5);
  EXPECT_THAT([&] { mib->operTableIs(VrrpIndex(1, 5), other, status); },
              ::testing::ThrowsMessage<Kiv::NameInUseException>(
                  "Reinstantiating the pointer interface where constructor parameter attribute "
                  "_config has a different value of " +
                  Kiv::ptrToStrep(other) + " than the current value of " + Kiv::ptrToStrep(config) +
                  " not allowed"));
  EXPECT_THROW(mib->operTableIs(VrrpIndex(1, 5), config, nullptr), Kiv::NameInUseException);
  EXPECT_EQ(mib->operTable(VrrpIndex(1, 5)), row);
  EXPECT_EQ(observer->oper, std::vector<VrrpIndex>{VrrpIndex(1, 5)});
  EXPECT_EQ(mib->changeCount(), 2u);  // every successful call counts
}

TEST_F(VrrpMibTest, NewReplacesSilentlyAndDeletesNotifyInKeyOrder) {
  mib->operTableIs(VrrpIndex(1, 5), config, status)->masterIpAddrIs(IpAddr(10, 0, 0, 1));
  auto fresh = mib->newOperTable(VrrpIndex(1, 5), config, status);
  EXPECT_EQ(mib->operTable(VrrpIndex(1, 5)), fresh);
  EXPECT_TRUE(fresh->masterIpAddr().isZero());
  const auto count = mib->changeCount();
  EXPECT_FALSE(mib->operTableDel(VrrpIndex(9, 9)));
  EXPECT_EQ(mib->changeCount(), count);
  mib->operTableIs(VrrpIndex(0, 2), config, status);
  mib->operTableIs(VrrpIndex(-3, 7), config, status);
  observer->oper.clear();
  mib->operTableDelAll();
  EXPECT_EQ(observer->oper,
            (std::vector<VrrpIndex>{VrrpIndex(-3, 7), VrrpIndex(0, 2), VrrpIndex(1, 5)}));
  EXPECT_TRUE(mib->operTableIter().atEnd());
}

// What the SNMP module cannot see: columns are read from the records when asked.
TEST_F(VrrpMibTest, RowsReadTheirRecordsLive) {
  auto row = mib->operTableIs(VrrpIndex(1, 5), config, status);
  status->priorityIs(90);
  config->advertisementIntervalIs(250);
  EXPECT_EQ(row->priority(), 90u);
  EXPECT_EQ(row->advertisementInterval(), 2u);
}

}  // namespace
