// The baseline's tables through net-snmp's real request processing: what a walk of them
// returns must match our module's answers in names, order and types.
#include <gtest/gtest.h>

#include "bench/baseline/ContainerTables.h"
#include "tests/support/InProcessAgent.h"

namespace {

using FhrpTest::InProcessAgent;
using FhrpTest::Oid;

const Oid kOperEntry = {1, 3, 6, 1, 2, 1, 68, 1, 3, 1};
const Oid kAssoEntry = {1, 3, 6, 1, 2, 1, 68, 1, 4, 1};

Baseline::StateRows rows() {
  Baseline::StateRows r;
  Baseline::OperRow a;
  a.ifIndex = 1000;
  a.vrId = 7;
  a.state = 3;
  a.masterIpAddr = 0x0a000002;
  a.upSince = 0;
  Baseline::OperRow b = a;
  b.vrId = 200;
  b.upSince = 1;  // long ago: a large up time
  r.oper = {a, b};
  r.asso = {{1000, 7, 0x0a000004}, {1000, 7, 0x0a000005}, {1000, 200, 0x0a000104}};
  return r;
}

Oid append(Oid base, std::initializer_list<oid> more) {
  base.insert(base.end(), more);
  return base;
}

TEST(BaselineTablesTest, AnswersAsTheModuleDoes) {
  InProcessAgent& agent = InProcessAgent::instance();
  // Lives as long as the agent: net-snmp keeps pointers to the rows.
  static Baseline::ContainerTables tables(rows());
  tables.registerTables();

  // The operational table walks column by column with the module's types.
  FhrpTest::Response r = agent.bulkWalk({1, 3, 6, 1, 2, 1, 68, 1, 3}, 25);
  ASSERT_EQ(r.errorStatus, SNMP_ERR_NOERROR);
  ASSERT_EQ(r.varBinds.size(), 28u);
  const u_char types[] = {ASN_OCTET_STR, ASN_INTEGER,   ASN_INTEGER, ASN_INTEGER,   ASN_INTEGER,
                          ASN_IPADDRESS, ASN_IPADDRESS, ASN_INTEGER, ASN_OCTET_STR, ASN_INTEGER,
                          ASN_INTEGER,   ASN_TIMETICKS, ASN_INTEGER, ASN_INTEGER};
  for (size_t i = 0; i < r.varBinds.size(); ++i) {
    const oid column = static_cast<oid>(2 + i / 2);
    const oid vrId = i % 2 ? 200 : 7;
    EXPECT_EQ(r.varBinds[i].name, append(kOperEntry, {column, 1000, vrId})) << i;
    EXPECT_EQ(r.varBinds[i].type, types[i / 2]) << i;
  }
  EXPECT_EQ(r.varBinds[0].octets.size(), 6u);
  EXPECT_EQ(r.varBinds[10].octets, (std::vector<u_char>{10, 0, 0, 2}));  // master address
  EXPECT_EQ(r.varBinds[12].octets, (std::vector<u_char>{0, 0, 0, 0}));   // primary address
  EXPECT_TRUE(r.varBinds[16].octets.empty());                            // the key, never given
  EXPECT_EQ(r.varBinds[22].integer, 0);                                  // not up
  EXPECT_GT(r.varBinds[23].integer, 100);

  r = agent.walk({1, 3, 6, 1, 2, 1, 68, 1, 4});
  ASSERT_EQ(r.varBinds.size(), 3u);
  EXPECT_EQ(r.varBinds[0].name, append(kAssoEntry, {2, 1000, 7, 10, 0, 0, 4}));
  EXPECT_EQ(r.varBinds[2].name, append(kAssoEntry, {2, 1000, 200, 10, 0, 1, 4}));
  EXPECT_EQ(r.varBinds[1].integer, 1);
  r = agent.get({append(kOperEntry, {3, 1000, 200}), append(kOperEntry, {3, 1000, 8}),
                 append(kOperEntry, {1, 1000, 7})});
  ASSERT_EQ(r.varBinds.size(), 3u);
  EXPECT_EQ(r.varBinds[0].integer, 3);
  EXPECT_TRUE(r.varBinds[1].isException());
  EXPECT_TRUE(r.varBinds[2].isException());  // the index column is not served
  r = agent.getNext({append(kOperEntry, {5, 1000, 8})});
  EXPECT_EQ(r.varBinds.at(0).name, append(kOperEntry, {5, 1000, 200}));
  EXPECT_NE(agent.set(append(kOperEntry, {5, 1000, 7}), ASN_INTEGER, 100).errorStatus,
            SNMP_ERR_NOERROR);
}

}  // namespace
