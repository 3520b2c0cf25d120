// Enough to trust the helper that the module's tests rely on: requests keep their varbinds'
// order, and a walk stops where a manager's would, whatever the bulk size.
#include <gtest/gtest.h>

#include "tests/support/InProcessAgent.h"

namespace {

using FhrpTest::Oid;

// net-snmp's experimental arc keeps the fixture clear of any real MIB.
const Oid kBase = {1, 3, 6, 1, 4, 1, 8072, 9999, 9999, 77};

Oid at(oid arc) {
  Oid name = kBase;
  name.insert(name.end(), {arc, 0});
  return name;
}

TEST(InProcessAgentTest, RequestsAndWalks) {
  auto& agent = FhrpTest::InProcessAgent::instance();
  static long values[] = {10, 20, 30};  // read-only scalars under arcs 1..3
  for (oid arc : {1, 2, 3}) {
    const Oid name = at(arc);
    ASSERT_EQ(netsnmp_register_read_only_long_instance("fhrpTestScalar", name.data(), name.size(),
                                                       &values[arc - 1], nullptr),
              MIB_REGISTERED_OK);
  }
  auto r = agent.get({at(3), at(1), at(4)});
  ASSERT_EQ(r.varBinds.size(), 3u);
  EXPECT_EQ(r.varBinds[0].integer, 30);
  EXPECT_EQ(r.varBinds[1].integer, 10);
  EXPECT_EQ(r.varBinds[2].type, SNMP_NOSUCHOBJECT);
  EXPECT_EQ(agent.set(at(1), ASN_INTEGER, 5).errorStatus, SNMP_ERR_NOTWRITABLE);

  for (long maxRepetitions : {0L, 1L, 2L, 50L}) {
    std::vector<Oid> names;
    const auto walk = maxRepetitions ? agent.bulkWalk(kBase, maxRepetitions) : agent.walk(kBase);
    for (const auto& vb : walk.varBinds) names.push_back(vb.name);
    EXPECT_EQ(names, (std::vector<Oid>{at(1), at(2), at(3)})) << maxRepetitions;
  }
  Oid arc2 = at(2);
  arc2.pop_back();
  EXPECT_EQ(agent.walk(arc2).varBinds.size(), 1u);  // stops at the first name outside
}

}  // namespace
