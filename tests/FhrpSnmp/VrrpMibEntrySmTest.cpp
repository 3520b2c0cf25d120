// SPDX-License-Identifier: Apache-2.0
#include "FhrpSnmp/VrrpMibEntrySm.h"
#include "tests/FhrpSnmp/MirrorWorld.h"

namespace Mirror {
namespace {

using FhrpSnmp::VrrpMibEntrySmId;

const IpAddr kOwn(192, 0, 2, 2), kOther(192, 0, 2, 3);

TEST(VrrpMibEntrySmIdTest, InterfaceFirstSoAnInterfacesMachinesSitTogether) {
  EXPECT_LT(VrrpMibEntrySmId(IntfId("Ethernet1"), 200), VrrpMibEntrySmId(IntfId("Ethernet2"), 1));
  EXPECT_LT(VrrpMibEntrySmId(IntfId("Ethernet1"), 1), VrrpMibEntrySmId(IntfId("Ethernet1"), 2));
}

// The rows are the published mirror's business; the notifications are not seen there.
TEST_F(World, OwedNotificationGoesOutOnceTheOwnAddressIsKnown) {
  auto intfStatus = Kiv::make<Interface::IntfStatus>(eth1);
  intfStatus->ifIndexIs(7);
  auto config = Kiv::make<VrrpVirtualRouterConfig>(5);
  auto status = Kiv::make<VirtualRouterStatusV4>(5);
  status->stateIs(FhrpState::master);
  auto sm =
      FhrpSnmp::vrrpMibEntrySmFactory(VrrpMibEntrySmId(eth1, 5), intfStatus, config, status, mib);
  EXPECT_TRUE(FakeTrap::calls().empty());

  sm->physicalIpAddrIs(kOwn);
  EXPECT_EQ(FakeTrap::calls(), (std::vector<FakeTrap::Call>{{kOwn, 7, 5}}));

  // Already sent: a new own address moves the master address, nothing more.
  sm->physicalIpAddrIs(kOther);
  EXPECT_EQ(FakeTrap::calls().size(), 1u);
  EXPECT_EQ(oper(7, 5)->masterIpAddr(), kOther);

  // Every entry into master with a known address sends one.
  status->stateIs(FhrpState::backup);
  status->stateIs(FhrpState::master);
  EXPECT_EQ(FakeTrap::calls().back(), (FakeTrap::Call{kOther, 7, 5}));
  EXPECT_EQ(FakeTrap::calls().size(), 2u);

  // Losing the address while master owes the next one again; none under version 3.
  sm->physicalIpAddrIs(IpAddr());
  status->stateIs(FhrpState::backup);
  status->stateIs(FhrpState::master);
  config->versionIs(3);
  sm->physicalIpAddrIs(kOwn);
  EXPECT_EQ(FakeTrap::calls().size(), 2u);
  config->versionIs(2);
  EXPECT_EQ(FakeTrap::calls().size(), 3u);
}

}  // namespace
}  // namespace Mirror
