// SPDX-License-Identifier: Apache-2.0
// What init_VrrpMIB and unregister_VrrpMIB leave with the agent, per context. One process
// goes through the whole sequence: the module's bookkeeping is process-wide.
#include <gtest/gtest.h>

#include "FhrpSnmp/VrrpMib.h"
#include "kiv/Directory.h"
#include "platform/Snmp/SnmpUtil.h"
#include "snmp/VrrpMIB.h"
#include "snmp/VrrpMIBInternal.h"
#include "tests/support/InProcessAgent.h"

namespace {

using FhrpTest::InProcessAgent;
using FhrpTest::Oid;

const Oid kNodeVersion = {1, 3, 6, 1, 2, 1, 68, 1, 1};
const Oid kNotificationCntl = {1, 3, 6, 1, 2, 1, 68, 1, 2};
const Oid kOperTable = {1, 3, 6, 1, 2, 1, 68, 1, 3};
const Oid kAssoTable = {1, 3, 6, 1, 2, 1, 68, 1, 4};

// The registration made exactly at a name in the default context, or null.
netsnmp_handler_registration* registrationAt(const Oid& name) {
  netsnmp_subtree* tree = netsnmp_subtree_find(name.data(), name.size(), nullptr, "");
  if (!tree || !tree->reginfo) return nullptr;
  netsnmp_handler_registration* reg = tree->reginfo;
  return snmp_oid_compare(reg->rootoid, reg->rootoid_len, name.data(), name.size()) == 0 ? reg
                                                                                         : nullptr;
}

void* iteratorPrivate(netsnmp_handler_registration* reg) {
  netsnmp_mib_handler* h = netsnmp_find_handler_by_name(reg, "table_iterator");
  return h ? static_cast<netsnmp_iterator_info*>(h->myvoid)->myvoid : nullptr;
}

Kiv::Ptr<Kiv::Directory> mountModel(const Kiv::Ptr<Kiv::PtrInterface>& model) {
  auto root = Kiv::make<Kiv::Directory>("switch1");
  if (model) root->bind("snmp/vrrp/vrrpMIB", model);
  SnmpUtil::mountRootIs(root);
  return root;
}

TEST(RegistrationTest, ContextsInitialisationAndUnregistering) {
  InProcessAgent& agent = InProcessAgent::instance();
  auto model = FhrpSnmp::vrrpMibFactory("vrrpMIB");
  auto root = mountModel(model);

  // Another context first: the scalars only, under that context's handler names.
  init_VrrpMIB("mgmt");
  EXPECT_EQ(VrrpMIBImpl::columnRecordCount("mgmt"), 0u);
  for (const Oid& scalar : {kNodeVersion, kNotificationCntl}) {
    netsnmp_handler_registration* reg = registrationAt(scalar);
    ASSERT_NE(reg, nullptr);
    EXPECT_EQ(reg->priority, 64);
    EXPECT_EQ(reg->contextName, nullptr);
  }
  EXPECT_STREQ(registrationAt(kNodeVersion)->handlerName, "vrrpNodeVersion_mgmt");
  EXPECT_STREQ(registrationAt(kNotificationCntl)->handlerName, "vrrpNotificationCntl_mgmt");
  EXPECT_EQ(registrationAt(kOperTable), nullptr);

  // The default context: both tables, pointing at the model, serialized.
  init_VrrpMIB("");
  for (const Oid& table : {kOperTable, kAssoTable}) {
    netsnmp_handler_registration* reg = registrationAt(table);
    ASSERT_NE(reg, nullptr) << FhrpTest::toString(table);
    EXPECT_EQ(reg->my_reg_void, model.ptr());
    EXPECT_EQ(iteratorPrivate(reg), model.ptr());
    EXPECT_NE(netsnmp_find_handler_by_name(reg, "serialize"), nullptr);
  }
  EXPECT_EQ(VrrpMIBImpl::columnRecordCount(""), 2u);

  // Again: the agent refuses the duplicates and keeps serving the first registrations.
  netsnmp_handler_registration* first = registrationAt(kOperTable);
  init_VrrpMIB("");
  EXPECT_EQ(VrrpMIBImpl::columnRecordCount(""), 4u);
  EXPECT_EQ(registrationAt(kOperTable), first);
  model->operTableIs(FhrpSnmp::VrrpIndex(1, 1), nullptr, nullptr);
  EXPECT_EQ(agent.walk(kOperTable).varBinds.size(), 14u);

  // Unregistering frees the column records and nothing else.
  unregister_VrrpMIB("");
  EXPECT_EQ(VrrpMIBImpl::columnRecordCount(""), 0u);
  EXPECT_EQ(registrationAt(kOperTable), first);
  EXPECT_NE(registrationAt(kAssoTable), nullptr);
  EXPECT_EQ(agent.get({{1, 3, 6, 1, 2, 1, 68, 1, 1, 0}}).varBinds[0].integer, 2);
  unregister_VrrpMIB("");  // twice, and a context never registered: no harm
  unregister_VrrpMIB("other");
  EXPECT_EQ(VrrpMIBImpl::columnRecordCount(""), 0u);
}

}  // namespace
