#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "kiv/Trace.h"
#include "platform/Snmp/AgentxMaster.h"
#include "platform/Snmp/Oid.h"
#include "platform/Snmp/TrapManager.h"
#include "tests/support/InProcessAgent.h"

#include <net-snmp/agent/agent_callbacks.h>

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

std::vector<oid> range(oid first, oid last) {
  std::vector<oid> out;
  for (oid n = first; n <= last; ++n) out.push_back(n);
  return out;
}

class TrapManagerTest : public ::testing::Test {
 protected:
  TrapManagerTest() {
    FhrpTest::InProcessAgent::instance();  // alarms run from the agent's event loop
    manager.senderIs([this](netsnmp_variable_list* vars) { sent.push_back(trapNumber(vars)); });
  }

  void enqueue(oid first, oid last) {
    for (oid n = first; n <= last; ++n) manager.enqueueTrap(makeTrap(n));
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

TEST_F(TrapManagerTest, TheAgentsEventLoopSendsTheQueueInOrder) {
  enqueue(1, 3);
  manager.enqueueTrap(nullptr);  // ignored
  EXPECT_TRUE(sent.empty()) << "never sent from inside enqueueTrap";
  runAgentUntilSent();
  EXPECT_EQ(sent, range(1, 3));

  // The alarm was one-shot; a later notification schedules a new one, and a burst larger
  // than one turn goes out over several, still in order.
  manager.pacingIs(2, std::chrono::microseconds(1));
  enqueue(4, 8);
  runAgentUntilSent();
  EXPECT_EQ(sent, range(1, 8));
}

TEST_F(TrapManagerTest, TheSenderGetsTheListAsQueuedWhateverItsTypes) {
  // The queue keeps lists packed; every type must come back as it went in.
  const long negative = -5;
  const std::string text(200, 'x');
  const u_char address[] = {192, 0, 2, 1};
  const counter64 big{0xffffffff, 7};
  const oid longOid[] = {1, 3, 6, 1, 4, 1, 4294967295u, 128, 16384, 0};
  netsnmp_variable_list* vars = makeTrap(1);
  snmp_varlist_add_variable(&vars, longOid, OID_LENGTH(longOid), ASN_INTEGER, &negative,
                            sizeof negative);
  snmp_varlist_add_variable(&vars, kTrapBase, OID_LENGTH(kTrapBase), ASN_OCTET_STR, text.data(),
                            text.size());
  snmp_varlist_add_variable(&vars, kTrapBase, OID_LENGTH(kTrapBase), ASN_OCTET_STR, "", 0);
  snmp_varlist_add_variable(&vars, kTrapBase, OID_LENGTH(kTrapBase), ASN_IPADDRESS, address,
                            sizeof address);
  snmp_varlist_add_variable(&vars, kTrapBase, OID_LENGTH(kTrapBase), ASN_COUNTER64, &big,
                            sizeof big);
  snmp_varlist_add_variable(&vars, kTrapBase, OID_LENGTH(kTrapBase), ASN_OBJECT_ID, longOid,
                            sizeof longOid);
  netsnmp_variable_list* expected = snmp_clone_varbind(vars);
  size_t compared = 0;
  manager.senderIs([&](netsnmp_variable_list* got) {
    const netsnmp_variable_list* want = expected;
    for (; got && want; got = got->next_variable, want = want->next_variable, ++compared) {
      EXPECT_EQ(snmp_oid_compare(got->name, got->name_length, want->name, want->name_length), 0);
      EXPECT_EQ(got->type, want->type);
      ASSERT_EQ(got->val_len, want->val_len) << "varbind " << compared;
      EXPECT_EQ(std::memcmp(got->val.string, want->val.string, want->val_len), 0);
    }
    EXPECT_EQ(got, want) << "as many varbinds";
  });
  manager.enqueueTrap(vars);
  manager.flush();
  EXPECT_EQ(compared, 8u);
  snmp_free_varbind(expected);
}

TEST_F(TrapManagerTest, ATurnSendsAtMostItsBurstAndWhatTheReceiverHasRoomFor) {
  size_t room = std::numeric_limits<size_t>::max();
  manager.receiverRoomIs([&room] { return room; });
  manager.pacingIs(4, std::chrono::milliseconds(10));
  enqueue(1, 10);

  struct Turn {
    size_t room;
    size_t sends;
    size_t pendingAfter;
  };
  // Unlimited room: the burst bounds each turn; an AgentX master that has not answered
  // (room 0) stops the queue until it has.
  for (const Turn& t : {Turn{room, 4, 6}, Turn{1, 1, 5}, Turn{0, 0, 5}, Turn{room, 4, 1},
                        Turn{room, 1, 0}, Turn{room, 0, 0}}) {
    room = t.room;
    EXPECT_EQ(manager.sendTurn(), t.sends) << "room " << t.room;
    EXPECT_EQ(manager.pending(), t.pendingAfter) << "room " << t.room;
  }
  EXPECT_EQ(sent, range(1, 10));

  // flush, for callers without an event loop, ignores the pacing but not what a sender
  // raises meanwhile: that waits for the next turn.
  manager.senderIs([this](netsnmp_variable_list* vars) {
    sent.push_back(trapNumber(vars));
    if (sent.size() == 11) manager.enqueueTrap(makeTrap(99));
  });
  enqueue(11, 16);
  manager.flush();
  EXPECT_EQ(sent, range(1, 16));
  EXPECT_EQ(manager.pending(), 1u);
}

TEST(AgentxMasterTest, RoomIsTheWindowLessTheNotifiesTheMasterHasNotAnswered) {
  using Snmp::AgentxMaster::kWindow;
  Snmp::AgentxMaster::follow();
  EXPECT_EQ(Snmp::AgentxMaster::room(), 0u) << "no master yet";
  netsnmp_session master{};
  snmp_call_callbacks(SNMP_CALLBACK_APPLICATION, SNMPD_CALLBACK_INDEX_START, &master);
  EXPECT_EQ(Snmp::AgentxMaster::room(), kWindow) << "nothing sent yet";

  netsnmp_trap_stats stats{};
  master.trap_stats = &stats;
  struct Case {
    u_long sent, acked, timedOut, failed;
    size_t room;
  };
  for (const Case& c : {Case{3, 3, 0, 0, kWindow}, Case{7, 2, 0, 0, kWindow - 5},
                        Case{kWindow + 4, 1, 2, 1, 0}, Case{20, 5, 4, 2, 1}}) {
    stats.sent_count = c.sent;
    stats.ack_count = c.acked;
    stats.timeouts = c.timedOut;
    stats.sent_fail_count = c.failed;
    EXPECT_EQ(Snmp::AgentxMaster::room(), c.room) << c.sent << " sent";
  }
  snmp_call_callbacks(SNMP_CALLBACK_APPLICATION, SNMPD_CALLBACK_INDEX_STOP, &master);
  EXPECT_EQ(Snmp::AgentxMaster::room(), 0u) << "the master went away";
}

TEST_F(TrapManagerTest, AFullQueueDropsAndCountsTheOldest) {
  Kiv::TraceCapture capture("Snmp", 1u << 0);
  manager.capacityIs(3);
  enqueue(1, 5);
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
  enqueue(1, 3);
  runAgentUntilSent();
  EXPECT_EQ(sent, (std::vector<oid>{2, 3}));
  EXPECT_TRUE(capture.contains("sending a notification failed: sink unreachable"));

  enqueue(1, 2);
  EXPECT_THROW(manager.sendTurn(), std::runtime_error);  // a direct caller sees the failure
  EXPECT_EQ(manager.pending(), 1u);
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
