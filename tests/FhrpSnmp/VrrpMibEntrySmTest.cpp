#include "FhrpSnmp/VrrpMibEntrySm.h"
#include "tests/FhrpSnmp/MirrorWorld.h"

namespace Mirror {
namespace {

using FhrpSnmp::VrrpIpIndex;
using FhrpSnmp::VrrpMibEntrySmId;

const IpAddr kOwn(192, 0, 2, 2), kOther(192, 0, 2, 3), kVip(192, 0, 2, 1), kVip2(192, 0, 2, 9);

std::string parseError(const std::string& text) {
  return rangeError([&] { FhrpSnmp::strepToValue<VrrpMibEntrySmId>(text); });
}

TEST(VrrpMibEntrySmIdTest, TextFormOrderAndParseErrors) {
  VrrpMibEntrySmId id(IntfId("Ethernet1"), 5);
  EXPECT_EQ(FhrpSnmp::valueToStrep(id),
            "Value('FhrpSnmp::VrrpMibEntrySmId', ** {'intfId': 'Ethernet1', 'vrId': 5})");
  std::ostringstream os;
  os << VrrpMibEntrySmId(IntfId("it's"), 4294967295u);
  EXPECT_EQ(FhrpSnmp::strepToValue<VrrpMibEntrySmId>(os.str()),
            VrrpMibEntrySmId(IntfId("it's"), 4294967295u));
  // Interface first: all machines of one interface sit together.
  EXPECT_LT(VrrpMibEntrySmId(IntfId("Ethernet1"), 200), VrrpMibEntrySmId(IntfId("Ethernet2"), 1));
  EXPECT_LT(VrrpMibEntrySmId(IntfId("Ethernet1"), 1), VrrpMibEntrySmId(IntfId("Ethernet1"), 2));

  EXPECT_EQ(parseError("Value('FhrpSnmp::VrrpMibEntrySmId', ** {'vrId': 1"),
            "premature end of value type VrrpMibEntrySmId");
  EXPECT_EQ(parseError("Value('FhrpSnmp::VrrpMibEntrySmId', ** {'ifIndex': 1})"),
            "VrrpMibEntrySmId has no such attribute: ifIndex");
  EXPECT_NE(
      parseError("Value('FhrpSnmp::VrrpMibEntrySmId', ** {'intfId': Ethernet1})").find("intfId"),
      std::string::npos);
  EXPECT_NE(parseError("Value('FhrpSnmp::VrrpMibEntrySmId', ** {'vrId': -1})").find("vrId"),
            std::string::npos);
}

// One virtual router (Ethernet1, 5) on ifIndex 7, driven through its records.
struct EntrySmTest : World {
  Kiv::Ptr<Interface::IntfStatus> intfStatus = Kiv::make<Interface::IntfStatus>(eth1);
  Kiv::Ptr<VrrpVirtualRouterConfig> config = Kiv::make<VrrpVirtualRouterConfig>(5);
  Kiv::Ptr<VirtualRouterStatusV4> status = Kiv::make<VirtualRouterStatusV4>(5);

  EntrySmTest() { intfStatus->ifIndexIs(7); }
  Kiv::Ptr<FhrpSnmp::VrrpMibEntrySm> entry() {
    return FhrpSnmp::vrrpMibEntrySmFactory(VrrpMibEntrySmId(eth1, 5), intfStatus, config, status,
                                           mib);
  }
  bool asso(S32 ifIndex, IpAddr a) const {
    return bool(mib->assoIpAddrTable(VrrpIpIndex(ifIndex, 5, a)));
  }
};

TEST_F(EntrySmTest, OwedNotificationGoesOutOnceTheOwnAddressIsKnown) {
  status->stateIs(FhrpState::master);
  auto sm = entry();
  EXPECT_TRUE(FakeTrap::calls().empty());
  EXPECT_FALSE(sm->sentMasterTrap());

  sm->physicalIpAddrIs(kOwn);
  EXPECT_EQ(FakeTrap::calls(), (std::vector<FakeTrap::Call>{{kOwn, 7, 5}}));
  EXPECT_TRUE(sm->sentMasterTrap());
  EXPECT_TRUE(trace.contains("Sending New Master trap with ipAddr=192.0.2.2"));

  // Already sent: a new own address moves the master address, nothing more.
  sm->physicalIpAddrIs(kOther);
  EXPECT_EQ(FakeTrap::calls().size(), 1u);
  EXPECT_EQ(oper(7, 5)->masterIpAddr(), kOther);
  trace.clear();
  sm->physicalIpAddrIs(kOther);
  EXPECT_TRUE(trace.lines().empty());

  // Every entry into master with a known address sends one.
  status->stateIs(FhrpState::backup);
  status->stateIs(FhrpState::master);
  EXPECT_EQ(FakeTrap::calls().back(), (FakeTrap::Call{kOther, 7, 5}));
  EXPECT_EQ(FakeTrap::calls().size(), 2u);
  EXPECT_TRUE(trace.contains("New state is master"));

  // Losing the address while master owes the next one again.
  sm->physicalIpAddrIs(IpAddr());
  status->stateIs(FhrpState::backup);
  status->stateIs(FhrpState::master);
  EXPECT_FALSE(sm->sentMasterTrap());
  sm->physicalIpAddrIs(kOwn);
  EXPECT_EQ(FakeTrap::calls().size(), 3u);
}

TEST_F(EntrySmTest, VersionAwayFromTwoDeletesRowsAndBackRecreatesThem) {
  status->stateIs(FhrpState::master);
  status->ipAddrsIs(kVip, true);
  auto sm = entry();
  sm->physicalIpAddrIs(kOwn);
  ASSERT_EQ(rows(), 3u);

  config->versionIs(3);
  EXPECT_EQ(rows(), 0u);
  EXPECT_TRUE(trace.contains("Deleting OperEntry, ifIndex=7 vrId=5"));
  EXPECT_TRUE(trace.contains("Deleting RouterStatsEntry, ifIndex=7 vrId=5"));
  EXPECT_TRUE(trace.contains("Deleting AssoIpAddrEntry, ifIndex=7 vrId=5 ipAddr=192.0.2.1"));
  status->ipAddrsIs(kVip2, true);  // no rows under version 3
  status->stateIs(FhrpState::backup);
  status->stateIs(FhrpState::master);
  EXPECT_EQ(rows(), 0u);
  EXPECT_EQ(FakeTrap::calls().size(), 1u);

  config->versionIs(2);
  EXPECT_EQ(rows(), 4u);
  EXPECT_EQ(oper(7, 5)->masterIpAddr(), kOwn);
  EXPECT_EQ(FakeTrap::calls().size(), 2u);
  EXPECT_TRUE(trace.contains("void FhrpSnmp::VrrpMibEntrySm::handleVersion()"));
}

TEST_F(EntrySmTest, AnIfIndexChangeLeavesTheAddressRowDeletableByItsOwnIndex) {
  status->ipAddrsIs(kVip, true);
  auto sm = entry();
  intfStatus->ifIndexIs(8);
  EXPECT_FALSE(sm->operEntry());  // looked up under the new ifIndex
  EXPECT_TRUE(oper(7, 5));
  status->ipAddrsDel(kVip);
  EXPECT_FALSE(asso(7, kVip));
  EXPECT_TRUE(trace.contains("Deleting AssoIpAddrEntry, ifIndex=8 vrId=5 ipAddr=192.0.2.1"));
}

}  // namespace
}  // namespace Mirror
