// SPDX-License-Identifier: Apache-2.0
// The module behind net-snmp's real request processing: the table, iterator and serialize
// helpers, as a manager reaches them.
#include <gtest/gtest.h>

#include <vector>

#include "FhrpSnmp/VrrpMib.h"
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

const Oid kOperTable = {1, 3, 6, 1, 2, 1, 68, 1, 3};
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

  void addOperRows(std::initializer_list<std::pair<S32, U32>> keys) {
    for (auto [ifIndex, vrId] : keys) mib.operTableIs(VrrpIndex(ifIndex, vrId), nullptr, nullptr);
  }

  FhrpSnmp::VrrpMib& mib;
  InProcessAgent& agent = InProcessAgent::instance();
};

// Values, missing rows and columns, and refused SETs: the daemon's walks of the lab example.
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

// Whole walks by GETNEXT and GETBULK: the daemon's walks of the lab example, and its hostile
// test's GETNEXTs from partial and odd indices.

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
  EXPECT_LE(small, kOperColumns * (16 + 1));
  EXPECT_LE(large, kOperColumns * (1024 + 1));
}

}  // namespace
