#include <gtest/gtest.h>

#include <string>

#include "tests/support/InProcessAgent.h"

namespace {

using FhrpTest::InProcessAgent;
using FhrpTest::Oid;
using FhrpTest::VarBind;

// net-snmp's experimental arc keeps the fixture clear of any real MIB.
const Oid kBase = {1, 3, 6, 1, 4, 1, 8072, 9999, 9999, 77};

Oid at(std::initializer_list<oid> tail) {
  Oid name = kBase;
  name.insert(name.end(), tail);
  return name;
}

// Net-snmp's own helpers serve a scalar (42; 7 in context "blue") and a table indexed by
// INTEGER with an INTEGER column 2 and an OCTET STRING column 3, all read-only.
void registerObjects() {
  static long answer = 42, blueAnswer = 7;
  const Oid scalar = at({1, 0}), table = at({2});
  ASSERT_EQ(netsnmp_register_read_only_long_instance("fhrpTestScalar", scalar.data(), scalar.size(),
                                                     &answer, nullptr),
            MIB_REGISTERED_OK);
  ASSERT_EQ(netsnmp_register_read_only_long_instance_context(
                "fhrpTestScalar", scalar.data(), scalar.size(), &blueAnswer, nullptr, "blue"),
            MIB_REGISTERED_OK);
  netsnmp_table_data_set* set = netsnmp_create_table_data_set("fhrpTestTable");
  netsnmp_table_set_add_indexes(set, ASN_INTEGER, 0);
  netsnmp_table_set_multi_add_default_row(set, 2, ASN_INTEGER, 0, nullptr, 0, 3, ASN_OCTET_STR, 0,
                                          nullptr, 0, 0);
  const struct {
    long index, value;
    std::string name;
  } rows[] = {{1, 10, "one"}, {5, 50, "five"}, {9, 90, "nine"}};
  for (const auto& r : rows) {
    netsnmp_table_row* row = netsnmp_create_table_data_row();
    netsnmp_table_row_add_index(row, ASN_INTEGER, &r.index, sizeof r.index);
    netsnmp_set_row_column(row, 2, ASN_INTEGER, &r.value, sizeof r.value);
    netsnmp_set_row_column(row, 3, ASN_OCTET_STR, r.name.data(), r.name.size());
    netsnmp_table_dataset_add_row(set, row);
  }
  ASSERT_EQ(netsnmp_register_table_data_set(
                netsnmp_create_handler_registration("fhrpTestTable", nullptr, table.data(),
                                                    table.size(), HANDLER_CAN_RONLY),
                set, nullptr),
            MIB_REGISTERED_OK);
}

std::vector<Oid> names(const std::vector<VarBind>& vbs) {
  std::vector<Oid> out;
  for (const auto& vb : vbs) out.push_back(vb.name);
  return out;
}

// The whole subtree in lexicographic order: the scalar, then column 2 and column 3.
const std::vector<Oid> kSubtree = {at({1, 0}),       at({2, 1, 2, 1}), at({2, 1, 2, 5}),
                                   at({2, 1, 2, 9}), at({2, 1, 3, 1}), at({2, 1, 3, 5}),
                                   at({2, 1, 3, 9})};

class InProcessAgentTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    InProcessAgent::instance();
    registerObjects();
  }
  InProcessAgent& agent = InProcessAgent::instance();
};

TEST_F(InProcessAgentTest, GetAnswersEveryVarbindInTheOrderGiven) {
  auto r = agent.get({at({2, 1, 3, 5}), at({1, 0}), at({2, 1, 2, 9})});
  ASSERT_EQ(r.errorStatus, SNMP_ERR_NOERROR);
  ASSERT_EQ(r.varBinds.size(), 3u);
  EXPECT_EQ(r.varBinds[0].type, ASN_OCTET_STR);
  EXPECT_EQ(r.varBinds[0].text(), "five");
  EXPECT_EQ(r.varBinds[1].integer, 42);
  EXPECT_EQ(r.varBinds[2].integer, 90);

  r = agent.get({at({2, 1, 2, 4}), at({3, 0})});
  ASSERT_EQ(r.varBinds.size(), 2u);
  EXPECT_EQ(r.varBinds[0].type, SNMP_NOSUCHINSTANCE) << r.varBinds[0];
  EXPECT_EQ(r.varBinds[1].type, SNMP_NOSUCHOBJECT) << r.varBinds[1];
}

TEST_F(InProcessAgentTest, GetNextStepsEachVarbindIncludingAcrossColumns) {
  auto r = agent.getNext({at({1}), at({2, 1, 2, 5}), at({2, 1, 2, 9}), at({2, 1, 3, 9})});
  ASSERT_EQ(r.errorStatus, SNMP_ERR_NOERROR);
  ASSERT_EQ(r.varBinds.size(), 4u);
  EXPECT_EQ(r.varBinds[0].name, at({1, 0}));
  EXPECT_EQ(r.varBinds[1].name, at({2, 1, 2, 9}));
  EXPECT_EQ(r.varBinds[2].name, at({2, 1, 3, 1}));
  EXPECT_EQ(r.varBinds[2].text(), "one");
  // Past the last registration in the agent: nothing follows.
  EXPECT_EQ(r.varBinds[3].type, SNMP_ENDOFMIBVIEW) << r.varBinds[3];
}

TEST_F(InProcessAgentTest, GetBulkAnswersNonRepeatersOnceAndInterleavesRepeaters) {
  auto r = agent.getBulk({at({1}), at({2, 1, 2}), at({2, 1, 3})}, 1, 2);
  ASSERT_EQ(r.errorStatus, SNMP_ERR_NOERROR);
  EXPECT_EQ(names(r.varBinds), (std::vector<Oid>{at({1, 0}), at({2, 1, 2, 1}), at({2, 1, 3, 1}),
                                                 at({2, 1, 2, 5}), at({2, 1, 3, 5})}));
  EXPECT_EQ(r.varBinds[4].text(), "five");
}

TEST_F(InProcessAgentTest, WalksCollectTheSubtreeWhateverTheBulkSize) {
  EXPECT_EQ(names(agent.walk(kBase).varBinds), kSubtree);
  for (long maxRepetitions : {1L, 3L, 50L}) {
    EXPECT_EQ(names(agent.bulkWalk(kBase, maxRepetitions).varBinds), kSubtree) << maxRepetitions;
  }
  // A walk ends at the first name outside its subtree, here column 3.
  EXPECT_EQ(names(agent.walk(at({2, 1, 2})).varBinds),
            (std::vector<Oid>{at({2, 1, 2, 1}), at({2, 1, 2, 5}), at({2, 1, 2, 9})}));
  EXPECT_TRUE(agent.walk(at({5})).varBinds.empty());
  EXPECT_TRUE(agent.bulkWalk(at({5}), 10).varBinds.empty());
}

TEST_F(InProcessAgentTest, SetOnReadOnlyRegistrationsIsNotWritable) {
  auto r = agent.set(at({1, 0}), ASN_INTEGER, 5L);
  EXPECT_EQ(r.errorStatus, SNMP_ERR_NOTWRITABLE);
  EXPECT_EQ(r.errorIndex, 1);
  r = agent.set(at({2, 1, 3, 1}), ASN_OCTET_STR, std::string_view("uno"));
  EXPECT_EQ(r.errorStatus, SNMP_ERR_NOTWRITABLE);
}

TEST_F(InProcessAgentTest, RequestsReachTheRegistrationsOfTheirContext) {
  auto r = agent.get({at({1, 0}), at({2, 1, 2, 1})}, "blue");
  ASSERT_EQ(r.varBinds.size(), 2u);
  EXPECT_EQ(r.varBinds[0].integer, 7);
  EXPECT_EQ(r.varBinds[1].type, SNMP_NOSUCHOBJECT) << r.varBinds[1];
  EXPECT_EQ(names(agent.walk(kBase, "blue").varBinds), (std::vector<Oid>{at({1, 0})}));
}

}  // namespace
