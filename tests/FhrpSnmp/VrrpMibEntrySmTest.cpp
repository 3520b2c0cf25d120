#include "FhrpSnmp/VrrpMibEntrySm.h"
#include "tests/FhrpSnmp/MirrorWorld.h"

namespace Mirror {
namespace {

using FhrpSnmp::VrrpIpIndex;
using FhrpSnmp::VrrpMibEntrySmId;

const IpAddr kOwn(192, 0, 2, 2), kOther(192, 0, 2, 3), kVip(192, 0, 2, 1), kVip2(192, 0, 2, 9);

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

TEST_F(EntrySmTest, RowsAndMasterAddressFollowTheStatus) {
  status->ipAddrsIs(kVip, true);
  status->ipAddrsIs(IpAddr(), true);  // 0.0.0.0 never gets a row
  status->srcAddrIs(kOther);
  auto sm = entry();
  ASSERT_TRUE(oper(7, 5));
  EXPECT_TRUE(mib->routerStatsTable(FhrpSnmp::VrrpIndex(7, 5)));
  EXPECT_TRUE(asso(7, kVip));
  EXPECT_EQ(mib->assoIpAddrTableCollection()->size(), 1u);
  EXPECT_EQ(oper(7, 5)->masterIpAddr(), IpAddr());  // initialize

  status->stateIs(FhrpState::backup);
  EXPECT_EQ(oper(7, 5)->masterIpAddr(), kOther);
  status->srcAddrIs(kVip2);
  EXPECT_EQ(oper(7, 5)->masterIpAddr(), kVip2);
  sm->physicalIpAddrIs(kOwn);
  status->stateIs(FhrpState::master);
  EXPECT_EQ(oper(7, 5)->masterIpAddr(), kOwn);
  status->stateIs(FhrpState::initialize);
  EXPECT_EQ(oper(7, 5)->masterIpAddr(), IpAddr());

  status->ipAddrsIs(kVip2, true);
  EXPECT_TRUE(asso(7, kVip2));
  status->ipAddrsIs(kVip2, false);  // false counts as absent
  EXPECT_FALSE(asso(7, kVip2));
  status->ipAddrsDel(kVip2);  // no row left to delete
  // Clearing the whole set notifies only the set; the rows still go.
  status->ipAddrsDelAll();
  EXPECT_EQ(mib->assoIpAddrTableCollection()->size(), 0u);
  EXPECT_EQ(sm->assoIpAddrEntrys(), 0u);
}

TEST_F(EntrySmTest, OwedNotificationGoesOutOnceTheOwnAddressIsKnown) {
  status->stateIs(FhrpState::master);
  auto sm = entry();
  EXPECT_TRUE(FakeTrap::calls().empty());
  EXPECT_FALSE(sm->sentMasterTrap());

  sm->physicalIpAddrIs(kOwn);
  EXPECT_EQ(FakeTrap::calls(), (std::vector<FakeTrap::Call>{{kOwn, 7, 5}}));
  EXPECT_TRUE(sm->sentMasterTrap());

  // Already sent: a new own address moves the master address, nothing more.
  sm->physicalIpAddrIs(kOther);
  EXPECT_EQ(FakeTrap::calls().size(), 1u);
  EXPECT_EQ(oper(7, 5)->masterIpAddr(), kOther);

  // Every entry into master with a known address sends one.
  status->stateIs(FhrpState::backup);
  status->stateIs(FhrpState::master);
  EXPECT_EQ(FakeTrap::calls().back(), (FakeTrap::Call{kOther, 7, 5}));
  EXPECT_EQ(FakeTrap::calls().size(), 2u);

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
  status->ipAddrsIs(kVip2, true);  // no rows under version 3
  status->stateIs(FhrpState::backup);
  status->stateIs(FhrpState::master);
  EXPECT_EQ(rows(), 0u);
  EXPECT_EQ(FakeTrap::calls().size(), 1u);

  config->versionIs(2);
  EXPECT_EQ(rows(), 4u);
  EXPECT_EQ(oper(7, 5)->masterIpAddr(), kOwn);
  EXPECT_EQ(FakeTrap::calls().size(), 2u);
}

TEST_F(EntrySmTest, AnIfIndexChangeLeavesTheAddressRowDeletableByItsOwnIndex) {
  status->ipAddrsIs(kVip, true);
  auto sm = entry();
  intfStatus->ifIndexIs(8);
  EXPECT_FALSE(sm->operEntry());  // looked up under the new ifIndex
  EXPECT_TRUE(oper(7, 5));
  status->ipAddrsDel(kVip);
  EXPECT_FALSE(asso(7, kVip));
}

TEST_F(EntrySmTest, RepointingRerunsTheRulesWithoutRebindingRows) {
  auto sm = entry();
  auto newStatus = Kiv::make<VirtualRouterStatusV4>(5);
  newStatus->stateIs(FhrpState::master);
  newStatus->ipAddrsIs(kVip2, true);
  status->ipAddrsIs(kVip, true);
  sm->physicalIpAddrIs(kOwn);
  sm->vrStatusIs(newStatus);
  EXPECT_EQ(FakeTrap::calls().size(), 1u);
  EXPECT_TRUE(asso(7, kVip2));
  EXPECT_FALSE(asso(7, kVip));  // not in the new record
  EXPECT_EQ(oper(7, 5)->status(), status);
  status->stateIs(FhrpState::master);  // the old record is no longer watched
  EXPECT_EQ(FakeTrap::calls().size(), 1u);

  sm->vrConfigIs(nullptr);  // dropped, nothing runs
  EXPECT_FALSE(sm->vrConfig());
  config->versionIs(3);
  EXPECT_EQ(rows(), 3u);
}

TEST_F(EntrySmTest, RefusesANullAddressRow) {
  auto sm = entry();
  EXPECT_THAT([&] { sm->assoIpAddrEntryIs(kVip, nullptr); },
              refusesNull("VrrpMibEntrySm", "assoIpAddrEntry"));
}

}  // namespace
}  // namespace Mirror
