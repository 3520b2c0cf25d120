#include <gtest/gtest.h>

#include <cstring>
#include <iterator>

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

struct Row {
  long index;
  long value;
  const char* name;
};
const Row kRows[] = {{1, 10, "one"}, {5, 50, "five"}, {9, 90, "nine"}};

netsnmp_variable_list* nextRow(void** loop, void** data, netsnmp_variable_list* index,
                               netsnmp_iterator_info*) {
  auto* row = static_cast<const Row*>(*loop);
  if (row == std::end(kRows)) return nullptr;
  snmp_set_var_typed_integer(index, ASN_INTEGER, row->index);
  *data = const_cast<Row*>(row);
  *loop = const_cast<Row*>(row + 1);
  return index;
}

netsnmp_variable_list* firstRow(void** loop, void** data, netsnmp_variable_list* index,
                                netsnmp_iterator_info* info) {
  *loop = const_cast<Row*>(std::begin(kRows));
  return nextRow(loop, data, index, info);
}

int tableHandler(netsnmp_mib_handler*, netsnmp_handler_registration*,
                 netsnmp_agent_request_info* reqinfo, netsnmp_request_info* requests) {
  for (auto* r = requests; r; r = r->next) {
    if (r->processed) continue;
    auto* row = static_cast<const Row*>(netsnmp_extract_iterator_context(r));
    auto* info = netsnmp_extract_table_info(r);
    if (!row || !info) {
      netsnmp_set_request_error(reqinfo, r, SNMP_NOSUCHINSTANCE);
    } else if (info->colnum == 2) {
      snmp_set_var_typed_integer(r->requestvb, ASN_INTEGER, row->value);
    } else {
      snmp_set_var_typed_value(r->requestvb, ASN_OCTET_STR, row->name, std::strlen(row->name));
    }
  }
  return SNMP_ERR_NOERROR;
}

// The scalar's value is its handler's private data, so one handler serves both contexts.
int scalarHandler(netsnmp_mib_handler* handler, netsnmp_handler_registration*,
                  netsnmp_agent_request_info*, netsnmp_request_info* requests) {
  const long value = reinterpret_cast<long>(handler->myvoid);
  for (auto* r = requests; r; r = r->next) {
    snmp_set_var_typed_integer(r->requestvb, ASN_INTEGER, value);
  }
  return SNMP_ERR_NOERROR;
}

void registerScalar(const Oid& name, long value, const char* context) {
  auto* reg = netsnmp_create_handler_registration("fhrpTestScalar", scalarHandler, name.data(),
                                                  name.size(), HANDLER_CAN_RONLY);
  reg->handler->myvoid = reinterpret_cast<void*>(value);
  if (context) reg->contextName = strdup(context);
  ASSERT_EQ(netsnmp_register_scalar(reg), MIB_REGISTERED_OK);
}

void registerTable() {
  auto* table = SNMP_MALLOC_TYPEDEF(netsnmp_table_registration_info);
  netsnmp_table_helper_add_indexes(table, ASN_INTEGER, 0);
  table->min_column = 2;
  table->max_column = 3;
  auto* iterator = SNMP_MALLOC_TYPEDEF(netsnmp_iterator_info);
  iterator->get_first_data_point = firstRow;
  iterator->get_next_data_point = nextRow;
  iterator->table_reginfo = table;
  const Oid name = at({2});
  auto* reg = netsnmp_create_handler_registration("fhrpTestTable", tableHandler, name.data(),
                                                  name.size(), HANDLER_CAN_RONLY);
  ASSERT_EQ(netsnmp_register_table_iterator(reg, iterator), MIB_REGISTERED_OK);
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
    registerScalar(at({1}), 42, nullptr);
    registerScalar(at({1}), 7, "blue");
    registerTable();
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

  r = agent.get({at({2, 1, 2, 4}), at({1, 1}), at({3, 0})});
  ASSERT_EQ(r.varBinds.size(), 3u);
  EXPECT_EQ(r.varBinds[0].type, SNMP_NOSUCHINSTANCE) << r.varBinds[0];
  EXPECT_EQ(r.varBinds[1].type, SNMP_NOSUCHINSTANCE) << r.varBinds[1];
  EXPECT_EQ(r.varBinds[2].type, SNMP_NOSUCHOBJECT) << r.varBinds[2];
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
  for (long maxRepetitions : {1L, 2L, 3L, 50L}) {
    EXPECT_EQ(names(agent.bulkWalk(kBase, maxRepetitions).varBinds), kSubtree) << maxRepetitions;
  }
  EXPECT_EQ(names(agent.walk(at({2, 1, 3})).varBinds),
            (std::vector<Oid>{at({2, 1, 3, 1}), at({2, 1, 3, 5}), at({2, 1, 3, 9})}));
  EXPECT_TRUE(agent.walk(at({5})).varBinds.empty());
  EXPECT_TRUE(agent.bulkWalk(at({5}), 10).varBinds.empty());
}

TEST_F(InProcessAgentTest, SetOnReadOnlyRegistrationsIsNotWritable) {
  auto r = agent.set(at({1, 0}), ASN_INTEGER, 5L);
  EXPECT_EQ(r.errorStatus, SNMP_ERR_NOTWRITABLE);
  EXPECT_EQ(r.errorIndex, 1);
  r = agent.set(at({2, 1, 3, 1}), ASN_OCTET_STR, std::string_view("uno"));
  EXPECT_EQ(r.errorStatus, SNMP_ERR_NOTWRITABLE);
  EXPECT_EQ(agent.get({at({2, 1, 3, 1})}).varBinds.at(0).text(), "one");
}

TEST_F(InProcessAgentTest, RequestsReachTheRegistrationsOfTheirContext) {
  auto r = agent.get({at({1, 0}), at({2, 1, 2, 1})}, "blue");
  ASSERT_EQ(r.varBinds.size(), 2u);
  EXPECT_EQ(r.varBinds[0].integer, 7);
  EXPECT_EQ(r.varBinds[1].type, SNMP_NOSUCHOBJECT) << r.varBinds[1];
  EXPECT_EQ(names(agent.walk(kBase, "blue").varBinds), (std::vector<Oid>{at({1, 0})}));
}

}  // namespace
