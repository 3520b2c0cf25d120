// The module behind net-snmp's real request processing: the table, iterator and serialize
// helpers, GETBULK expansion and SET phases, as a manager reaches them.
#include <gtest/gtest.h>

#include <vector>

#include "FhrpSnmp/VrrpMib.h"
#include "kiv/Clock.h"
#include "kiv/Directory.h"
#include "kiv/Trace.h"
#include "platform/Snmp/HandlerRegistration.h"
#include "platform/Snmp/SnmpUtil.h"
#include "snmp/VrrpMIB.h"
#include "tests/support/InProcessAgent.h"

namespace {

using FhrpSnmp::VrrpIndex;
using FhrpSnmp::VrrpIpIndex;
using FhrpTest::InProcessAgent;
using FhrpTest::Oid;
using FhrpTest::Response;
using Lirex::IpAddr;

const Oid kNodeVersion = {1, 3, 6, 1, 2, 1, 68, 1, 1, 0};
const Oid kNotificationCntl = {1, 3, 6, 1, 2, 1, 68, 1, 2, 0};
const Oid kOperTable = {1, 3, 6, 1, 2, 1, 68, 1, 3};
const Oid kAssoTable = {1, 3, 6, 1, 2, 1, 68, 1, 4};
constexpr unsigned kOperColumns = 14;

Oid oper(oid column, S32 ifIndex, U32 vrId) {
  return {1, 3, 6, 1, 2, 1, 68, 1, 3, 1, column, static_cast<oid>(ifIndex), vrId};
}
Oid asso(S32 ifIndex, U32 vrId, IpAddr a, oid column = 2) {
  return {1,    3,          6,          1,          2,         1,
          68,   1,          4,          1,          column,    static_cast<oid>(ifIndex),
          vrId, a.octet(0), a.octet(1), a.octet(2), a.octet(3)};
}

std::vector<Oid> names(const Response& r) {
  std::vector<Oid> n;
  for (const auto& vb : r.varBinds) n.push_back(vb.name);
  return n;
}

// Each answer's integer, or the exception in its place.
std::vector<std::string> values(const Response& r) {
  std::vector<std::string> v;
  for (const auto& vb : r.varBinds) {
    v.push_back(vb.type == SNMP_NOSUCHOBJECT     ? "noSuchObject"
                : vb.type == SNMP_NOSUCHINSTANCE ? "noSuchInstance"
                : vb.type == SNMP_ENDOFMIBVIEW   ? "endOfMibView"
                                                 : std::to_string(vb.integer));
  }
  return v;
}

// The model lives as long as the agent that points at it: for the whole process.
FhrpSnmp::VrrpMib& model() {
  static Kiv::Ptr<FhrpSnmp::VrrpMib> mib = [] {
    auto root = Kiv::make<Kiv::Directory>("switch1");
    auto m = FhrpSnmp::vrrpMibFactory("vrrpMIB");
    root->bind("snmp/vrrp/vrrpMIB", m);
    SnmpUtil::mountRootIs(root);
    InProcessAgent::instance();
    // As a host does it.
    Snmp::kivInitVrrpMib();
    Snmp::initHandlers("");
    return m;
  }();
  return *mib;
}

class AgentTest : public ::testing::Test {
 protected:
  AgentTest() : mib(model()) {
    mib.operTableDelAll();
    mib.assoIpAddrTableDelAll();
  }
  ~AgentTest() override { Kiv::clockIs(nullptr); }

  // Rows without records, except that each row's priority is ifIndex * 100 + vrId.
  void addOperRows(std::initializer_list<std::pair<S32, U32>> keys) {
    for (auto [ifIndex, vrId] : keys) {
      auto status = Kiv::make<Routing::Fhrp::VirtualRouterStatusV4>(vrId);
      status->priorityIs(static_cast<U32>(ifIndex * 100 + vrId));
      mib.operTableIs(VrrpIndex(ifIndex, vrId), nullptr, status);
    }
  }

  FhrpSnmp::VrrpMib& mib;
  InProcessAgent& agent = InProcessAgent::instance();
};

TEST_F(AgentTest, ScalarsAnswerAndEverySetIsRefused) {
  EXPECT_EQ(values(agent.get({kNotificationCntl, kNodeVersion, {1, 3, 6, 1, 2, 1, 68, 1, 1, 1}})),
            (std::vector<std::string>{"1", "2", "noSuchInstance"}));
  addOperRows({{1, 1}});
  mib.assoIpAddrTableIs(VrrpIpIndex(1, 1, IpAddr(10, 0, 0, 1)));
  for (const Oid& name : {kNodeVersion, kNotificationCntl, oper(5, 1, 1), oper(3, 1, 1),
                          oper(15, 1, 1), oper(5, 9, 9), asso(1, 1, IpAddr(10, 0, 0, 1))}) {
    Response r = agent.set(name, ASN_INTEGER, 1);
    EXPECT_EQ(r.errorStatus, SNMP_ERR_NOTWRITABLE) << FhrpTest::toString(name);
    EXPECT_EQ(r.errorIndex, 1);
  }
  EXPECT_EQ(mib.operTable(VrrpIndex(9, 9)), nullptr);
  EXPECT_EQ(agent.set({{oper(5, 1, 1), ASN_INTEGER, 200, {}}, {oper(12, 1, 1), ASN_INTEGER, 2, {}}})
                .errorStatus,
            SNMP_ERR_NOTWRITABLE);
}

TEST_F(AgentTest, OperColumnsAreEncodedAsTheMibSays) {
  auto config = Kiv::make<Routing::Fhrp::VrrpVirtualRouterConfig>(12);
  config->preemptIs(false);
  config->adminStateIs(Interface::IntfEnabledState::enabled);
  config->authTypeIs(Lirex::VrrpAuthType::simpleTextPassword);
  config->authKeyIs("secret");
  config->advertisementIntervalIs(300);
  auto status = Kiv::make<Routing::Fhrp::VirtualRouterStatusV4>(12);
  status->stateIs(Routing::Fhrp::FhrpState::backup);
  status->priorityIs(200);
  status->ipAddrCountIs(2);
  status->virtualMacAddrIs(Lirex::EthAddr({0x00, 0x00, 0x5e, 0x00, 0x01, 0x0c}));
  status->upSinceIs(1000.0);
  Kiv::clockIs([] { return 1012.5; });
  mib.operTableIs(VrrpIndex(7, 12), config, status)->masterIpAddrIs(IpAddr(10, 0, 0, 1));
  mib.operTableIs(VrrpIndex(3, 1), nullptr, nullptr);

  // Columns 2..15 of both rows, in one PDU.
  std::vector<Oid> request;
  for (oid col = 2; col <= 15; ++col) request.push_back(oper(col, 7, 12));
  for (oid col = 2; col <= 15; ++col) request.push_back(oper(col, 3, 1));
  Response r = agent.get(request);
  ASSERT_EQ(r.varBinds.size(), 2 * kOperColumns);
  std::vector<u_char> types;
  for (const auto& vb : r.varBinds) types.push_back(vb.type);
  const u_char i = ASN_INTEGER, s = ASN_OCTET_STR, a = ASN_IPADDRESS;
  const std::vector<u_char> row = {s, i, i, i, i, a, a, i, s, i, i, ASN_TIMETICKS, i, i};
  EXPECT_EQ(std::vector<u_char>(types.begin(), types.begin() + kOperColumns), row);
  EXPECT_EQ(std::vector<u_char>(types.begin() + kOperColumns, types.end()), row);
  EXPECT_EQ(values(r),
            (std::vector<std::string>{
                "0", "2", "1", "200", "2", "0", "0", "2", "0", "3", "2", "1250", "1",
                "1",  // without records: zeros, master, admin down, no preempt
                "0", "3", "2", "0",   "0", "0", "0", "1", "0", "0", "2", "0",    "1", "1"}));
  using Octets = std::vector<u_char>;
  EXPECT_EQ(r.varBinds[0].octets, (Octets{0x00, 0x00, 0x5e, 0x00, 0x01, 0x0c}));
  EXPECT_EQ(r.varBinds[5].octets, (Octets{10, 0, 0, 1}));
  EXPECT_EQ(r.varBinds[6].octets, (Octets{0, 0, 0, 0}));
  EXPECT_TRUE(r.varBinds[8].octets.empty()) << "the key is never disclosed";
  EXPECT_EQ(r.varBinds[kOperColumns].octets, Octets(6, 0));
}

TEST_F(AgentTest, VarbindsInAnyOrderAreEachAnsweredForTheirOwnRow) {
  addOperRows({{1, 1}, {1, 5}, {2, 3}, {7, 12}});
  const IpAddr addr(10, 0, 0, 1);
  mib.assoIpAddrTableIs(VrrpIpIndex(1, 1, addr));

  // Descending, repeated, rows that do not exist and columns that do not.
  EXPECT_EQ(
      values(agent.get({oper(5, 7, 12), oper(5, 2, 3), oper(5, 9, 9), oper(5, 1, 5), oper(5, 1, 1),
                        oper(5, 0, 0), oper(5, 7, 12), oper(1, 1, 1), oper(16, 1, 1), oper(0, 1, 1),
                        asso(1, 1, addr, 1), asso(1, 1, addr, 3), asso(1, 1, IpAddr(10, 0, 0, 2)),
                        asso(1, 1, addr)})),
      (std::vector<std::string>{"712", "203", "noSuchInstance", "105", "101", "noSuchInstance",
                                "712", "noSuchObject", "noSuchObject", "noSuchObject",
                                "noSuchObject", "noSuchObject", "noSuchInstance", "1"}));

  // Descending, between rows, before the first, past the last of a column and of the table,
  // and indexes out of their types' range.
  const Oid column5 = {1, 3, 6, 1, 2, 1, 68, 1, 3, 1, 5};
  Oid hugeIfIndex = column5, hugeVrId = column5;
  hugeIfIndex.insert(hugeIfIndex.end(), {2147483648u, 5});
  hugeVrId.insert(hugeVrId.end(), {1, 4294967296u});
  Response next =
      agent.getNext({oper(5, 7, 12), oper(5, 2, 3), oper(5, 1, 7), oper(5, 1, 5), oper(5, 0, 9),
                     column5, oper(15, 7, 12), oper(5, 9, 0), hugeIfIndex, hugeVrId});
  EXPECT_EQ(next.errorStatus, SNMP_ERR_NOERROR);
  EXPECT_EQ(names(next),
            (std::vector<Oid>{oper(6, 1, 1), oper(5, 7, 12), oper(5, 2, 3), oper(5, 2, 3),
                              oper(5, 1, 1), oper(5, 1, 1), asso(1, 1, addr), oper(6, 1, 1),
                              oper(6, 1, 1), oper(5, 2, 3)}));
  EXPECT_EQ(next.varBinds[1].integer, 712);
}

TEST_F(AgentTest, WalksCrossColumnsInIndexOrderAndStopAtTheTablesEnd) {
  addOperRows({{7, 12}, {1, 5}, {2, 3}, {1, 1}});
  std::vector<Oid> expected;
  for (oid col = 2; col <= 15; ++col) {
    for (auto [ifIndex, vrId] : {std::pair{1, 1u}, {1, 5u}, {2, 3u}, {7, 12u}}) {
      expected.push_back(oper(col, ifIndex, vrId));
    }
  }
  for (long maxRepetitions : {0L, 1L, 3L, 100L}) {
    EXPECT_EQ(names(agent.walk(kOperTable, maxRepetitions)), expected) << maxRepetitions;
  }
  // GETBULK with a non-repeater: the scalar once, the table's rows repeated across columns.
  EXPECT_EQ(names(agent.getBulk({{1, 3, 6, 1, 2, 1, 68, 1, 1}, oper(14, 2, 3)}, 1, 3)),
            (std::vector<Oid>{kNodeVersion, oper(14, 7, 12), oper(15, 1, 1), oper(15, 1, 5)}));

  // Addresses walk in address order within their router.
  for (const VrrpIpIndex& k :
       {VrrpIpIndex(2, 1, IpAddr(10, 0, 0, 1)), VrrpIpIndex(1, 5, IpAddr(192, 0, 2, 1)),
        VrrpIpIndex(1, 5, IpAddr(10, 0, 0, 2)), VrrpIpIndex(1, 4, IpAddr(255, 255, 255, 255))}) {
    mib.assoIpAddrTableIs(k);
  }
  const std::vector<Oid> addrs = {asso(1, 4, IpAddr(255, 255, 255, 255)),
                                  asso(1, 5, IpAddr(10, 0, 0, 2)), asso(1, 5, IpAddr(192, 0, 2, 1)),
                                  asso(2, 1, IpAddr(10, 0, 0, 1))};
  EXPECT_EQ(names(agent.walk(kAssoTable)), addrs);
  EXPECT_EQ(names(agent.walk(kAssoTable, 2)), addrs);
  // A partial index (ifIndex.vrId) and a short address still find the next row.
  EXPECT_EQ(names(agent.getNext({{1, 3, 6, 1, 2, 1, 68, 1, 4, 1, 2, 1, 5},
                                 {1, 3, 6, 1, 2, 1, 68, 1, 4, 1, 2, 1, 5, 10, 0, 0},
                                 addrs[1]})),
            (std::vector<Oid>{addrs[1], addrs[1], addrs[2]}));
}

TEST_F(AgentTest, RowsChangingBetweenTheRequestsOfAWalk) {
  addOperRows({{1, 1}, {1, 5}, {2, 3}});
  Response step = agent.getNext({oper(5, 0, 0)});
  ASSERT_EQ(step.varBinds[0].name, oper(5, 1, 1));

  // The row after the current one goes and an earlier one comes.
  mib.operTableDel(VrrpIndex(1, 5));
  addOperRows({{1, 3}, {0, 9}});
  step = agent.getNext({step.varBinds[0].name});
  ASSERT_EQ(step.varBinds[0].name, oper(5, 1, 3));

  // The current row itself goes.
  mib.operTableDel(VrrpIndex(1, 3));
  step = agent.getNext({step.varBinds[0].name});
  ASSERT_EQ(step.varBinds[0].name, oper(5, 2, 3));

  // The last row goes: the walk moves on to the next column's first row.
  mib.operTableDel(VrrpIndex(2, 3));
  step = agent.getNext({step.varBinds[0].name});
  EXPECT_EQ(step.varBinds[0].name, oper(6, 0, 9));

  mib.operTableDelAll();
  EXPECT_EQ(values(agent.getNext({step.varBinds[0].name})),
            std::vector<std::string>{"endOfMibView"});
}

// A GETNEXT walk must cost the hooks O(N) steps per column, not O(N^2): each request starts
// at its own row through the hint instead of walking from the first row.
TEST_F(AgentTest, AFullWalkStepsEachRowAboutOncePerColumn) {
  const size_t rows = 1024;
  for (size_t n = 0; n < rows; ++n) {
    mib.operTableIs(VrrpIndex(1 + n / 200, 1 + n % 200), nullptr, nullptr);
  }
  Kiv::TraceCapture trace("Snmp", 1u << 2);
  EXPECT_EQ(agent.walk(kOperTable).varBinds.size(), rows * kOperColumns);
  EXPECT_EQ(trace.count("hintMatched=1"), rows * kOperColumns)
      << "every request after the first names an existing row";
  EXPECT_LE(trace.count("vrrpOperTable_get_next_data_point - advancing loop context"),
            kOperColumns * (rows + 1));
}

}  // namespace
