// SPDX-License-Identifier: Apache-2.0
// The module behind net-snmp's real request processing, and its notifications.
#include <gtest/gtest.h>

#include "Vrrpv3/Vrrpv3Mib.h"
#include "kiv/Directory.h"
#include "platform/Snmp/SnmpUtil.h"
#include "platform/Snmp/TrapManager.h"
#include "snmpv3/Vrrpv3MIB.h"
#include "snmpv3/Vrrpv3Notifications.h"
#include "tests/support/InProcessAgent.h"

namespace {

using FhrpTest::InProcessAgent;
using FhrpTest::Oid;
using Lirex::AddrFamily;
using Lirex::InetAddr;
using Vrrpv3::OperIndex;

const Oid kMib = {1, 3, 6, 1, 2, 1, 207};

Oid column(std::initializer_list<oid> table, oid c, std::initializer_list<oid> index) {
  Oid o = kMib;
  o.insert(o.end(), table);
  o.push_back(1);
  o.push_back(c);
  o.insert(o.end(), index);
  return o;
}
Oid oper(oid c, std::initializer_list<oid> index) {
  return column({1, 1, 1}, c, index);
}

// Two routers, IPv4 and IPv6, on ifIndex 2 and 3, as the mirroring leaves them.
Vrrpv3::Vrrpv3Mib& model() {
  static Kiv::Ptr<Vrrpv3::Vrrpv3Mib> mib = [] {
    static auto config = Kiv::make<Routing::Fhrp::VrrpVirtualRouterConfig>(7);
    static auto v4 = Kiv::make<Routing::Fhrp::VirtualRouterStatusV4>(7);
    static auto v6 = Kiv::make<Routing::Fhrp::VirtualRouterStatusV6>(7);
    v6->advertisementsRcvdIs(U64{1} << 40);
    v6->stateIs(Routing::Fhrp::FhrpState::master);
    auto m = Kiv::make<Vrrpv3::Vrrpv3Mib>("vrrpv3MIB", nullptr);
    m->operationsTableIs({2, 7, AddrFamily::ipv4}, config, v4, nullptr);
    m->operationsTableIs({3, 7, AddrFamily::ipv6}, config, nullptr, v6)
        ->masterIpAddrIs(Lirex::strepToValue<InetAddr>("fe80::1"));
    m->associatedIpAddrTableIs({2, 7, AddrFamily::ipv4, Lirex::IpAddr(192, 0, 2, 1)});
    auto root = Kiv::make<Kiv::Directory>("state");
    root->bind(Vrrpv3Snmp::kModelPath, m);
    SnmpUtil::mountRootIs(root);
    InProcessAgent::instance();
    init_Vrrpv3MIB("");
    return m;
  }();
  return *mib;
}

TEST(Vrrpv3AgentTest, GetAndGetNextAnswerEveryIndexRightly) {
  model();
  InProcessAgent& agent = InProcessAgent::instance();
  const auto got = agent.get(
      {oper(6, {3, 7, 2}), oper(3, {3, 7, 2}), column({1, 2, 5}, 3, {3, 7, 2}), oper(6, {2, 7, 3}),
       oper(2, {2, 7, 1}), column({1, 1, 2}, 2, {2, 7, 1, 5, 192, 0, 2, 1})});
  ASSERT_EQ(got.varBinds.size(), 6u);
  EXPECT_EQ(got.varBinds[0].integer, 3);  // master
  EXPECT_EQ(got.varBinds[1].octets.size(), 16u);
  EXPECT_EQ(got.varBinds[2].type, ASN_COUNTER64);
  EXPECT_EQ(got.varBinds[3].type, SNMP_NOSUCHINSTANCE);  // type 3
  EXPECT_EQ(got.varBinds[4].type, SNMP_NOSUCHOBJECT);    // an index column
  EXPECT_EQ(got.varBinds[5].type, SNMP_NOSUCHINSTANCE);  // length 5

  // Descending and hostile starting points, each answered on its own.
  const auto next = agent.getNext({oper(13, {3, 7, 2}),
                                   oper(3, {2, 7, 3}),
                                   oper(3, {0}),
                                   column({1, 1, 2}, 2, {2, 7, 1, 4, 192, 0, 2, 300}),
                                   {1, 3, 6, 1, 2, 1, 207, 1, 2, 3, 0}});
  ASSERT_EQ(next.varBinds.size(), 5u);
  // Past the table's end: on to the next registration.
  EXPECT_EQ(next.varBinds[0].name, column({1, 1, 2}, 2, {2, 7, 1, 4, 192, 0, 2, 1}));
  EXPECT_EQ(next.varBinds[1].name, oper(3, {3, 7, 2}));
  EXPECT_EQ(next.varBinds[2].name, oper(3, {2, 7, 1}));
  EXPECT_EQ(next.varBinds[3].name, (Oid{1, 3, 6, 1, 2, 1, 207, 1, 2, 1, 0}));
  EXPECT_EQ(next.varBinds[4].name, (Oid{1, 3, 6, 1, 2, 1, 207, 1, 2, 4, 0}));

  // A walk: 11 operations columns and 13 statistics columns of 2 rows, one address, 4 scalars.
  const auto walk = agent.walk(kMib);
  EXPECT_EQ(walk.errorStatus, SNMP_ERR_NOERROR);
  EXPECT_EQ(walk.varBinds.size(), 2u * 11 + 1 + 4 + 2u * 13);
}

TEST(Vrrpv3AgentTest, NotificationsCarryTheRowsColumnsAndObeyTheSwitch) {
  auto config = SnmpUtil::getSnmpConfig();
  auto group = config->notificationConfigIs("vrrpv3");
  group->notificationIs("vrrpv3NewMaster");
  group->notificationIs("vrrpv3ProtoError");
  std::vector<Oid> names;
  Snmp::TrapManager::instance().senderIs([&](netsnmp_variable_list* vars) {
    for (auto* v = vars; v; v = v->next_variable)
      names.emplace_back(v->name, v->name + v->name_length);
  });
  Snmp::vrrpv3NewMasterNotify(3, 7, AddrFamily::ipv6, InetAddr::zero(AddrFamily::ipv6), 2);
  Snmp::vrrpv3ProtoErrorNotify(2, 7, AddrFamily::ipv4, 1);
  config->notificationsEnabledIs(false);
  Snmp::vrrpv3ProtoErrorNotify(2, 7, AddrFamily::ipv4, 1);
  config->notificationsEnabledIs(true);
  Snmp::TrapManager::instance().flush();
  Snmp::TrapManager::instance().senderIs(nullptr);
  const Oid trapOid = {1, 3, 6, 1, 6, 3, 1, 1, 4, 1, 0};
  EXPECT_EQ(names, (std::vector<Oid>{trapOid, oper(3, {3, 7, 2}), column({1, 2, 5}, 2, {3, 7, 2}),
                                     trapOid, column({1, 2, 5}, 6, {2, 7, 1})}));
}

}  // namespace
