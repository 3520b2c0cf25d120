#include <gtest/gtest.h>

#include <chrono>
#include <optional>
#include <stdexcept>
#include <vector>

#include "kiv/Trace.h"
#include "platform/Snmp/Oid.h"
#include "platform/Snmp/TrapManager.h"
#include "tests/support/InProcessAgent.h"

namespace {

const oid kSnmpTrapOid[] = {1, 3, 6, 1, 6, 3, 1, 1, 4, 1, 0};
const oid kTrapBase[] = {1, 3, 6, 1, 4, 1, 8072, 9999, 9999, 1};

// snmpTrapOID.0 = kTrapBase.n, followed by one payload varbind.
netsnmp_variable_list* makeTrap(oid n) {
  oid trapOid[OID_LENGTH(kTrapBase) + 1];
  std::copy(std::begin(kTrapBase), std::end(kTrapBase), trapOid);
  trapOid[OID_LENGTH(kTrapBase)] = n;
  netsnmp_variable_list* vars = nullptr;
  snmp_varlist_add_variable(&vars, kSnmpTrapOid, OID_LENGTH(kSnmpTrapOid), ASN_OBJECT_ID, trapOid,
                            sizeof trapOid);
  const long payload = static_cast<long>(n);
  snmp_varlist_add_variable(&vars, kTrapBase, OID_LENGTH(kTrapBase), ASN_INTEGER, &payload,
                            sizeof payload);
  return vars;
}

// Which notification a list is: the last sub-identifier of its trap OID.
oid trapNumber(const netsnmp_variable_list* vars) {
  return vars->val.objid[vars->val_len / sizeof(oid) - 1];
}

class TrapManagerTest : public ::testing::Test {
 protected:
  TrapManagerTest() {
    FhrpTest::InProcessAgent::instance();  // alarms run from the agent's event loop
    manager.senderIs([this](netsnmp_variable_list* vars) { sent.push_back(trapNumber(vars)); });
  }

  // Runs the agent's event loop until the queue is empty (or a generous deadline).
  void runAgentUntilSent() {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (manager.pending() && std::chrono::steady_clock::now() < deadline) {
      FhrpTest::InProcessAgent::instance().runEventLoopOnce();
    }
  }

  std::vector<oid> sent;
  Snmp::TrapManager manager;
};

TEST_F(TrapManagerTest, QueuedNotificationsAreSentInOrderByTheAgentsEventLoop) {
  for (oid n : {1, 2, 3}) manager.enqueueTrap(makeTrap(n));
  EXPECT_TRUE(sent.empty()) << "never sent from inside enqueueTrap";
  runAgentUntilSent();
  EXPECT_EQ(sent, (std::vector<oid>{1, 2, 3}));

  // The alarm was one-shot; a later notification schedules a new one.
  manager.enqueueTrap(makeTrap(4));
  runAgentUntilSent();
  EXPECT_EQ(sent, (std::vector<oid>{1, 2, 3, 4}));
}

TEST_F(TrapManagerTest, FlushSendsOnlyWhatWasQueuedWhenItStarted) {
  manager.senderIs([this](netsnmp_variable_list* vars) {
    sent.push_back(trapNumber(vars));
    if (sent.size() == 1) manager.enqueueTrap(makeTrap(99));
  });
  manager.enqueueTrap(makeTrap(1));
  manager.enqueueTrap(makeTrap(2));
  manager.flush();
  EXPECT_EQ(sent, (std::vector<oid>{1, 2}));
  EXPECT_EQ(manager.pending(), 1u);
  runAgentUntilSent();
  EXPECT_EQ(sent, (std::vector<oid>{1, 2, 99}));
}

TEST_F(TrapManagerTest, AFullQueueDropsAndCountsTheOldest) {
  Kiv::TraceCapture capture("Snmp", 1u << 0);
  manager.capacityIs(3);
  for (oid n = 1; n <= 5; ++n) manager.enqueueTrap(makeTrap(n));
  EXPECT_EQ(manager.pending(), 3u);
  EXPECT_EQ(manager.dropped(), 2u);
  ASSERT_EQ(capture.lines().size(), 2u);
  EXPECT_TRUE(capture.contains("dropped .1.3.6.1.4.1.8072.9999.9999.1.1, 1 dropped so far"));
  EXPECT_TRUE(capture.contains("dropped .1.3.6.1.4.1.8072.9999.9999.1.2, 2 dropped so far"));

  manager.capacityIs(2);  // lowering the bound drops at once
  EXPECT_EQ(manager.dropped(), 3u);
  manager.flush();
  EXPECT_EQ(sent, (std::vector<oid>{4, 5}));

  Snmp::TrapManager unbounded;  // the default bound is ten thousand
  for (oid n = 1; n <= 10001; ++n) unbounded.enqueueTrap(makeTrap(n));
  EXPECT_EQ(unbounded.dropped(), 1u);
}

TEST_F(TrapManagerTest, AFailingSenderLosesOnlyItsOwnNotification) {
  Kiv::TraceCapture capture("Snmp", 1u << 0);
  manager.senderIs([this](netsnmp_variable_list* vars) {
    if (trapNumber(vars) == 1) throw std::runtime_error("sink unreachable");
    sent.push_back(trapNumber(vars));
  });
  for (oid n : {1, 2, 3}) manager.enqueueTrap(makeTrap(n));
  runAgentUntilSent();
  EXPECT_EQ(sent, (std::vector<oid>{2, 3}));
  EXPECT_TRUE(capture.contains("sending a notification failed: sink unreachable"));

  manager.enqueueTrap(makeTrap(1));
  EXPECT_THROW(manager.flush(), std::runtime_error);  // a direct caller sees the failure
  EXPECT_EQ(manager.pending(), 0u);
}

TEST_F(TrapManagerTest, ADestroyedManagerFreesItsQueueAndCancelsItsAlarm) {
  std::optional<Snmp::TrapManager> other(std::in_place);
  bool called = false;
  other->senderIs([&](netsnmp_variable_list*) { called = true; });
  other->enqueueTrap(makeTrap(1));
  other->enqueueTrap(makeTrap(2));
  other.reset();
  // A leftover alarm would call into the destroyed manager (the sanitizer build sees it).
  for (int i = 0; i < 3; ++i) FhrpTest::InProcessAgent::instance().runEventLoopOnce();
  EXPECT_FALSE(called);
}

TEST_F(TrapManagerTest, TheDefaultSenderHandsTheListToTheAgent) {
  manager.senderIs(nullptr);  // send_v2trap: no sinks are configured in the test agent
  manager.enqueueTrap(makeTrap(1));
  manager.enqueueTrap(nullptr);
  EXPECT_EQ(manager.pending(), 1u);
  manager.flush();
  EXPECT_EQ(manager.pending(), 0u);
}

TEST(TrapManagerDeathTest, AListMustStartWithSnmpTrapOid) {
  netsnmp_variable_list* vars = nullptr;
  const long value = 1;
  snmp_varlist_add_variable(&vars, kTrapBase, OID_LENGTH(kTrapBase), ASN_INTEGER, &value,
                            sizeof value);
  Snmp::TrapManager manager;
  EXPECT_DEATH(manager.enqueueTrap(vars), "must start with snmpTrapOID.0");
  snmp_free_varbind(vars);
}

}  // namespace
