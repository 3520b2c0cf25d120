// Enough to trust the helper that the module's tests rely on: requests keep their varbinds'
// order and context, and a walk stops where a manager's would, whatever the bulk size.
#include <gtest/gtest.h>

#include "tests/support/InProcessAgent.h"

namespace {

using FhrpTest::Oid;

// net-snmp's experimental arc keeps the fixture clear of any real MIB.
Oid at(oid arc) {
  return {1, 3, 6, 1, 4, 1, 8072, 9999, 9999, 77, arc, 0};
}

TEST(InProcessAgentTest, RequestsWalksAndContexts) {
  auto& agent = FhrpTest::InProcessAgent::instance();
  // Read-only scalars 10, 20 and 30 under arcs 1..3; arc 2 is 7 in context "blue".
  static long values[] = {10, 20, 30, 7};
  for (oid arc : {1, 2, 3}) {
    const Oid name = at(arc);
    ASSERT_EQ(netsnmp_register_read_only_long_instance("fhrpTestScalar", name.data(), name.size(),
                                                       &values[arc - 1], nullptr),
              MIB_REGISTERED_OK);
  }
  const Oid blue = at(2);
  ASSERT_EQ(netsnmp_register_read_only_long_instance_context(
                "fhrpTestScalar", blue.data(), blue.size(), &values[3], nullptr, "blue"),
            MIB_REGISTERED_OK);

  auto r = agent.get({at(3), at(1), at(4)});
  ASSERT_EQ(r.varBinds.size(), 3u);
  EXPECT_EQ(r.varBinds[0].integer, 30);
  EXPECT_EQ(r.varBinds[1].integer, 10);
  EXPECT_EQ(r.varBinds[2].type, SNMP_NOSUCHOBJECT);

  const Oid base(at(1).begin(), at(1).end() - 2);
  const std::vector<Oid> all = {at(1), at(2), at(3)};
  for (long maxRepetitions : {0L, 1L, 2L, 50L}) {
    auto walked = maxRepetitions ? agent.bulkWalk(base, maxRepetitions) : agent.walk(base);
    std::vector<Oid> names;
    for (const auto& vb : walked.varBinds) names.push_back(vb.name);
    EXPECT_EQ(names, all) << maxRepetitions;
  }
  Oid arc2(at(2).begin(), at(2).end() - 1);
  EXPECT_EQ(agent.walk(arc2).varBinds.size(), 1u);  // stops outside its subtree
  EXPECT_EQ(agent.set(at(1), ASN_INTEGER, 5).errorStatus, SNMP_ERR_NOTWRITABLE);
  r = agent.walk(base, "blue");
  ASSERT_EQ(r.varBinds.size(), 1u);
  EXPECT_EQ(r.varBinds[0].integer, 7);
}

}  // namespace
