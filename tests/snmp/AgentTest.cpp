// The module behind net-snmp's real request processing: the table, iterator and serialize
// helpers, GETBULK expansion and SET phases, as a manager reaches them.
#include <gtest/gtest.h>

#include <iostream>
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

const Oid kVrrpMib = {1, 3, 6, 1, 2, 1, 68};
const Oid kNodeVersion = {1, 3, 6, 1, 2, 1, 68, 1, 1, 0};
const Oid kNotificationCntl = {1, 3, 6, 1, 2, 1, 68, 1, 2, 0};
const Oid kOperTable = {1, 3, 6, 1, 2, 1, 68, 1, 3};
const Oid kAssoTable = {1, 3, 6, 1, 2, 1, 68, 1, 4};
constexpr unsigned kOperColumns = 14;

Oid oper(oid column, S32 ifIndex, U32 vrId) {
  return {1, 3, 6, 1, 2, 1, 68, 1, 3, 1, column, static_cast<oid>(ifIndex), vrId};
}
Oid asso(oid column, S32 ifIndex, U32 vrId, IpAddr a) {
  return {1,    3,          6,          1,          2,         1,
          68,   1,          4,          1,          column,    static_cast<oid>(ifIndex),
          vrId, a.octet(0), a.octet(1), a.octet(2), a.octet(3)};
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

// GET of a row's fourteen columns, 2..15, in one PDU.
Response getRow(S32 ifIndex, U32 vrId) {
  std::vector<Oid> request;
  for (oid col = 2; col <= 15; ++col) request.push_back(oper(col, ifIndex, vrId));
  Response r = InProcessAgent::instance().get(request);
  EXPECT_EQ(r.errorStatus, SNMP_ERR_NOERROR);
  EXPECT_EQ(r.varBinds.size(), kOperColumns);
  r.varBinds.insert(r.varBinds.begin(), 2, FhrpTest::VarBind{});  // index by column
  return r;
}

std::vector<Oid> names(const Response& r) {
  std::vector<Oid> n;
  for (const auto& vb : r.varBinds) n.push_back(vb.name);
  return n;
}

class AgentTest : public ::testing::Test {
 protected:
  AgentTest() : mib(model()) {
    mib.operTableDelAll();
    mib.assoIpAddrTableDelAll();
  }
  ~AgentTest() override { Kiv::clockIs(nullptr); }

  void addOperRows(std::initializer_list<std::pair<S32, U32>> keys) {
    for (auto [ifIndex, vrId] : keys) mib.operTableIs(VrrpIndex(ifIndex, vrId), nullptr, nullptr);
  }

  FhrpSnmp::VrrpMib& mib;
  InProcessAgent& agent = InProcessAgent::instance();
};

TEST_F(AgentTest, EverySetIsRefusedAsNotWritable) {
  addOperRows({{1, 1}});
  mib.assoIpAddrTableIs(VrrpIpIndex(1, 1, IpAddr(10, 0, 0, 1)));
  Kiv::TraceCapture trace("Snmp");
  for (const Oid& name : {kNodeVersion, kNotificationCntl, oper(5, 1, 1), oper(3, 1, 1),
                          oper(15, 1, 1), oper(5, 9, 9), asso(2, 1, 1, IpAddr(10, 0, 0, 1))}) {
    Response r = agent.set(name, ASN_INTEGER, 1);
    EXPECT_EQ(r.errorStatus, SNMP_ERR_NOTWRITABLE) << FhrpTest::toString(name);
    EXPECT_EQ(r.errorIndex, 1);
  }
  EXPECT_TRUE(trace.contains(
      "handle_vrrpNotificationCntl - SET is not configured for vrrpNotificationCntl"));
  EXPECT_TRUE(
      trace.contains("vrrpOperTable_handler: SET is not configured for column "
                     "vrrpOperPriority"));
  EXPECT_TRUE(trace.contains("vrrpOperTable invalid column 3"));
  EXPECT_TRUE(trace.contains(
      "vrrpAssoIpAddrTable_handler: SET is not configured for column vrrpAssoIpAddrRowStatus"));
  EXPECT_EQ(mib.operTable(VrrpIndex(9, 9)), nullptr);

  // A PDU with several varbinds fails as a whole.
  const FhrpTest::VarBind priority{.name = oper(5, 1, 1), .type = ASN_INTEGER, .integer = 200};
  const FhrpTest::VarBind preempt{.name = oper(12, 1, 1), .type = ASN_INTEGER, .integer = 2};
  EXPECT_EQ(agent.set({priority, preempt}).errorStatus, SNMP_ERR_NOTWRITABLE);
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

  Response r = getRow(7, 12);
  auto col = [&](oid c) -> const FhrpTest::VarBind& { return r.varBinds.at(c); };
  using Octets = std::vector<u_char>;
  EXPECT_EQ(col(2).type, ASN_OCTET_STR);
  EXPECT_EQ(col(2).octets, (Octets{0x00, 0x00, 0x5e, 0x00, 0x01, 0x0c}));
  const std::pair<oid, long> integers[] = {{3, 2},  {4, 1},  {5, 200}, {6, 2}, {9, 2},
                                           {11, 3}, {12, 2}, {14, 1},  {15, 1}};
  for (auto [c, value] : integers) {
    EXPECT_EQ(col(c).type, ASN_INTEGER) << "column " << c;
    EXPECT_EQ(col(c).integer, value) << "column " << c;
  }
  EXPECT_EQ(col(7).type, ASN_IPADDRESS);
  EXPECT_EQ(col(7).octets, (Octets{10, 0, 0, 1}));
  EXPECT_EQ(col(8).type, ASN_IPADDRESS);
  EXPECT_EQ(col(8).octets, (Octets{0, 0, 0, 0}));
  EXPECT_EQ(col(10).type, ASN_OCTET_STR);
  EXPECT_TRUE(col(10).octets.empty()) << "the key is never disclosed";
  EXPECT_EQ(col(13).type, ASN_TIMETICKS);
  EXPECT_EQ(col(13).integer, 1250);
}

TEST_F(AgentTest, InvalidColumnsAndMissingRows) {
  addOperRows({{1, 1}});
  mib.assoIpAddrTableIs(VrrpIpIndex(1, 1, IpAddr(10, 0, 0, 1)));
  Response r = agent.get({oper(1, 1, 1), oper(16, 1, 1), oper(5, 1, 2), oper(0, 1, 1),
                          asso(1, 1, 1, IpAddr(10, 0, 0, 1)), asso(3, 1, 1, IpAddr(10, 0, 0, 1)),
                          asso(2, 1, 1, IpAddr(10, 0, 0, 2)), asso(2, 1, 1, IpAddr(10, 0, 0, 1))});
  ASSERT_EQ(r.errorStatus, SNMP_ERR_NOERROR);
  ASSERT_EQ(r.varBinds.size(), 8u);
  EXPECT_EQ(r.varBinds[0].type, SNMP_NOSUCHOBJECT);
  EXPECT_EQ(r.varBinds[1].type, SNMP_NOSUCHOBJECT);
  EXPECT_EQ(r.varBinds[2].type, SNMP_NOSUCHINSTANCE);
  EXPECT_EQ(r.varBinds[3].type, SNMP_NOSUCHOBJECT);
  EXPECT_EQ(r.varBinds[4].type, SNMP_NOSUCHOBJECT);
  EXPECT_EQ(r.varBinds[5].type, SNMP_NOSUCHOBJECT);
  EXPECT_EQ(r.varBinds[6].type, SNMP_NOSUCHINSTANCE);
  EXPECT_EQ(r.varBinds[7].type, ASN_INTEGER);
  EXPECT_EQ(r.varBinds[7].integer, 1);
}

TEST_F(AgentTest, VarbindsInAnyOrderAreEachAnsweredForTheirOwnRow) {
  for (auto [ifIndex, vrId] : {std::pair{1, 1u}, {1, 5u}, {2, 3u}, {7, 12u}}) {
    auto status = Kiv::make<Routing::Fhrp::VirtualRouterStatusV4>(vrId);
    status->priorityIs(static_cast<U32>(ifIndex * 100 + vrId));
    mib.operTableIs(VrrpIndex(ifIndex, vrId), nullptr, status);
  }
  const IpAddr addr(10, 0, 0, 1);
  mib.assoIpAddrTableIs(VrrpIpIndex(1, 1, addr));

  // Descending, repeated, and rows that do not exist.
  Response get = agent.get({oper(5, 7, 12), oper(5, 2, 3), oper(5, 9, 9), oper(5, 1, 5),
                            oper(5, 1, 1), oper(5, 0, 0), oper(5, 7, 12)});
  std::vector<std::pair<int, long>> values;
  for (const auto& vb : get.varBinds) values.emplace_back(vb.type, vb.integer);
  const int none = SNMP_NOSUCHINSTANCE;
  EXPECT_EQ(values, (std::vector<std::pair<int, long>>{{ASN_INTEGER, 712},
                                                       {ASN_INTEGER, 203},
                                                       {none, 0},
                                                       {ASN_INTEGER, 105},
                                                       {ASN_INTEGER, 101},
                                                       {none, 0},
                                                       {ASN_INTEGER, 712}}));

  // Descending, between rows, before the first, past the last of a column and of the table.
  Response next = agent.getNext({oper(5, 7, 12),
                                 oper(5, 2, 3),
                                 oper(5, 1, 7),
                                 oper(5, 1, 5),
                                 oper(5, 0, 9),
                                 {1, 3, 6, 1, 2, 1, 68, 1, 3, 1, 5},
                                 oper(15, 7, 12),
                                 oper(5, 9, 0)});
  EXPECT_EQ(next.errorStatus, SNMP_ERR_NOERROR);
  EXPECT_EQ(names(next),
            (std::vector<Oid>{oper(6, 1, 1), oper(5, 7, 12), oper(5, 2, 3), oper(5, 2, 3),
                              oper(5, 1, 1), oper(5, 1, 1), asso(2, 1, 1, addr), oper(6, 1, 1)}));
  EXPECT_EQ(next.varBinds[1].integer, 712);
  EXPECT_EQ(next.varBinds[3].integer, 203);
}

TEST_F(AgentTest, WalksCrossColumnsInIndexOrderAndStopAtTheTablesEnd) {
  addOperRows({{7, 12}, {1, 5}, {2, 3}, {1, 1}});
  const std::vector<std::pair<S32, U32>> order = {{1, 1}, {1, 5}, {2, 3}, {7, 12}};
  std::vector<Oid> expected;
  for (oid col = 2; col <= 15; ++col) {
    for (auto [ifIndex, vrId] : order) expected.push_back(oper(col, ifIndex, vrId));
  }
  Response walked = agent.walk(kOperTable);
  EXPECT_EQ(walked.errorStatus, SNMP_ERR_NOERROR);
  EXPECT_EQ(names(walked), expected);
  for (long maxRepetitions : {1L, 3L, 10L, 100L}) {
    EXPECT_EQ(names(agent.bulkWalk(kOperTable, maxRepetitions)), expected) << maxRepetitions;
  }

  // GETBULK with a non-repeater: the scalar once, the table's rows repeated across columns.
  Response bulk = agent.getBulk({{1, 3, 6, 1, 2, 1, 68, 1, 1}, oper(14, 2, 3)}, 1, 4);
  ASSERT_EQ(bulk.varBinds.size(), 5u);
  EXPECT_EQ(bulk.varBinds[0].name, kNodeVersion);
  EXPECT_EQ(bulk.varBinds[1].name, oper(14, 7, 12));
  EXPECT_EQ(bulk.varBinds[2].name, oper(15, 1, 1));
  EXPECT_EQ(bulk.varBinds[4].name, oper(15, 2, 3));
}

TEST_F(AgentTest, AssociatedAddressesWalkInAddressOrderWithinTheirRouter) {
  const VrrpIpIndex rows[] = {{2, 1, IpAddr(10, 0, 0, 1)},
                              {1, 5, IpAddr(192, 0, 2, 1)},
                              {1, 5, IpAddr(10, 0, 0, 2)},
                              {1, 4, IpAddr(255, 255, 255, 255)}};
  for (const auto& k : rows) mib.assoIpAddrTableIs(k);
  Response walked = agent.walk(kAssoTable);
  std::vector<Oid> expected = {
      asso(2, 1, 4, IpAddr(255, 255, 255, 255)), asso(2, 1, 5, IpAddr(10, 0, 0, 2)),
      asso(2, 1, 5, IpAddr(192, 0, 2, 1)), asso(2, 2, 1, IpAddr(10, 0, 0, 1))};
  EXPECT_EQ(names(walked), expected);
  for (const auto& vb : walked.varBinds) {
    EXPECT_EQ(vb.type, ASN_INTEGER);
    EXPECT_EQ(vb.integer, 1);
  }
  EXPECT_EQ(names(agent.bulkWalk(kAssoTable, 2)), expected);

  // A partial index (ifIndex.vrId) and a short address still find the next row.
  Response next = agent.getNext({{1, 3, 6, 1, 2, 1, 68, 1, 4, 1, 2, 1, 5},
                                 {1, 3, 6, 1, 2, 1, 68, 1, 4, 1, 2, 1, 5, 10, 0, 0},
                                 asso(2, 1, 5, IpAddr(10, 0, 0, 2))});
  EXPECT_EQ(names(next), (std::vector<Oid>{expected[1], expected[1], expected[2]}));
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
  step = agent.getNext({step.varBinds[0].name});
  EXPECT_EQ(step.varBinds[0].type, SNMP_ENDOFMIBVIEW);
}

// A GETNEXT walk must cost the hooks O(N) steps per column, not O(N^2): each request starts
// at its own row through the hint instead of walking from the first row.
size_t getNextCallsForAWalkOf(FhrpSnmp::VrrpMib& mib, int rows) {
  for (int i = 0; i < rows; ++i)
    mib.operTableIs(VrrpIndex(1 + i / 200, 1 + i % 200), nullptr, nullptr);
  Kiv::TraceCapture trace("Snmp", 1u << 2);
  Response walked = InProcessAgent::instance().walk(kOperTable);
  EXPECT_EQ(walked.varBinds.size(), static_cast<size_t>(rows) * kOperColumns);
  EXPECT_EQ(trace.count("hintMatched=1"), static_cast<size_t>(rows) * kOperColumns)
      << "every request after the first names an existing row";
  return trace.count("vrrpOperTable_get_next_data_point - advancing loop context");
}

TEST_F(AgentTest, AFullWalkStepsEachRowAboutOncePerColumn) {
  const size_t small = getNextCallsForAWalkOf(mib, 16);
  mib.operTableDelAll();
  const size_t large = getNextCallsForAWalkOf(mib, 1024);
  std::cout << "get_next_data_point calls for a GETNEXT walk of vrrpOperTable (" << kOperColumns
            << " columns): 16 rows: " << small << ", 1024 rows: " << large << std::endl;
  RecordProperty("getNextCalls16", static_cast<int>(small));
  RecordProperty("getNextCalls1024", static_cast<int>(large));
  EXPECT_LE(small, kOperColumns * (16 + 1));
  EXPECT_LE(large, kOperColumns * (1024 + 1));
}

}  // namespace
