// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/Snmp/AgentxMaster.h"
#include "platform/Snmp/TrapManager.h"
#include "tests/support/InProcessAgent.h"

#include <net-snmp/agent/agent_callbacks.h>

namespace {

const oid kSnmpTrapOid[] = {1, 3, 6, 1, 6, 3, 1, 1, 4, 1, 0};
const oid kTrapBase[] = {1, 3, 6, 1, 4, 1, 8072, 9999, 9999, 1};

// A list with only snmpTrapOID.0 = kTrapBase.n.
netsnmp_variable_list* makeTrap(oid n) {
  std::vector<oid> trapOid(std::begin(kTrapBase), std::end(kTrapBase));
  trapOid.push_back(n);
  netsnmp_variable_list* vars = nullptr;
  snmp_varlist_add_variable(&vars, kSnmpTrapOid, OID_LENGTH(kSnmpTrapOid), ASN_OBJECT_ID,
                            trapOid.data(), trapOid.size() * sizeof(oid));
  return vars;
}

// A list's every name, type and value as bytes, to compare lists whole.
std::string bytes(const netsnmp_variable_list* v) {
  std::string out;
  for (; v; v = v->next_variable) {
    out += std::to_string(v->name_length) + ',' + std::to_string(v->type) + ',' +
           std::to_string(v->val_len) + ':';
    out.append(reinterpret_cast<const char*>(v->name), v->name_length * sizeof(oid));
    out.append(reinterpret_cast<const char*>(v->val.string), v->val_len);
  }
  return out;
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

  // Runs the agent's event loop until the queue is empty (a hang is the test's timeout).
  void runAgentUntilSent() {
    while (manager.pending()) FhrpTest::InProcessAgent::instance().runEventLoopOnce();
  }

  std::vector<oid> sent;
  Snmp::TrapManager manager;
};

TEST_F(TrapManagerTest, TheAgentsEventLoopSendsTheQueueInOrderPastAFailingSender) {
  manager.senderIs([this](netsnmp_variable_list* vars) {
    if (trapNumber(vars) == 2) throw std::runtime_error("sink unreachable");
    sent.push_back(trapNumber(vars));
  });
  enqueue(1, 3);
  manager.enqueueTrap(nullptr);  // ignored
  EXPECT_TRUE(sent.empty()) << "never sent from inside enqueueTrap";
  runAgentUntilSent();
  EXPECT_EQ(sent, (std::vector<oid>{1, 3})) << "the failure loses only its own";
  // The alarm was one-shot; a later burst larger than one turn goes out over several turns.
  manager.pacingIs(2, std::chrono::microseconds(1));
  enqueue(4, 8);
  runAgentUntilSent();
  EXPECT_EQ(sent, (std::vector<oid>{1, 3, 4, 5, 6, 7, 8}));
  enqueue(2, 3);
  EXPECT_THROW(manager.sendTurn(), std::runtime_error);  // a direct caller sees the failure
  EXPECT_EQ(manager.pending(), 1u);
}

TEST_F(TrapManagerTest, TheSenderGetsTheListAsQueuedWhateverItsTypes) {
  // The queue keeps lists packed; every type and length must come back as it went in.
  const long negative = -5;
  const std::string text(200, 'x');
  const counter64 big{0xffffffff, 7};
  const oid longOid[] = {1, 3, 6, 1, 4, 1, 4294967295u, 128, 16384, 0};
  netsnmp_variable_list* vars = makeTrap(1);
  const auto add = [&](u_char type, const void* value, size_t len) {
    snmp_varlist_add_variable(&vars, longOid, OID_LENGTH(longOid), type, value, len);
  };
  add(ASN_INTEGER, &negative, sizeof negative);
  add(ASN_OCTET_STR, text.data(), text.size());
  add(ASN_OCTET_STR, "", 0);
  add(ASN_COUNTER64, &big, sizeof big);
  add(ASN_OBJECT_ID, longOid, sizeof longOid);
  const std::string expected = bytes(vars);
  std::string got;
  manager.senderIs([&](netsnmp_variable_list* list) { got = bytes(list); });
  manager.enqueueTrap(vars);
  manager.flush();
  EXPECT_EQ(got, expected);
}

TEST_F(TrapManagerTest, ATurnSendsAtMostItsBurstAndWhatTheReceiverHasRoomFor) {
  size_t room = std::numeric_limits<size_t>::max();
  manager.receiverRoomIs([&room] { return room; });
  manager.pacingIs(4, std::chrono::milliseconds(10));
  enqueue(1, 10);
  // Unlimited room: the burst bounds each turn; an AgentX master that has not answered
  // (room 0) stops the queue until it has.
  const size_t all = room;  // {room, sends, pending after}
  for (auto [r, sends, after] : std::vector<std::array<size_t, 3>>{
           {all, 4, 6}, {1, 1, 5}, {0, 0, 5}, {all, 4, 1}, {all, 1, 0}, {all, 0, 0}}) {
    room = r;
    EXPECT_EQ(manager.sendTurn(), sends) << "room " << r;
    EXPECT_EQ(manager.pending(), after) << "room " << r;
  }
  EXPECT_EQ(sent, range(1, 10));

  // flush ignores the pacing but not what a sender raises meanwhile: that waits.
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
  const size_t w = kWindow;  // {sent, acknowledged, timed out, failed, room}
  for (auto [sent, acked, timedOut, failed, room] : std::vector<std::array<size_t, 5>>{
           {3, 3, 0, 0, w}, {7, 2, 0, 0, w - 5}, {w + 4, 1, 2, 1, 0}, {20, 5, 4, 2, 1}}) {
    stats.sent_count = sent;
    stats.ack_count = acked;
    stats.timeouts = timedOut;
    stats.sent_fail_count = failed;
    EXPECT_EQ(Snmp::AgentxMaster::room(), room) << sent << " sent";
  }
  snmp_call_callbacks(SNMP_CALLBACK_APPLICATION, SNMPD_CALLBACK_INDEX_STOP, &master);
  EXPECT_EQ(Snmp::AgentxMaster::room(), 0u) << "the master went away";
}

TEST_F(TrapManagerTest, AFullQueueDropsAndCountsTheOldest) {
  manager.capacityIs(3);
  enqueue(1, 5);
  EXPECT_EQ(manager.pending(), 3u);
  EXPECT_EQ(manager.dropped(), 2u);
  manager.capacityIs(2);  // lowering the bound drops at once
  EXPECT_EQ(manager.dropped(), 3u);
  manager.flush();
  EXPECT_EQ(sent, (std::vector<oid>{4, 5}));
}

TEST_F(TrapManagerTest, ADestroyedManagerCancelsItsAlarm) {
  std::optional<Snmp::TrapManager> other(std::in_place);
  bool called = false;
  other->senderIs([&](netsnmp_variable_list*) { called = true; });
  other->enqueueTrap(makeTrap(1));
  other.reset();
  // A leftover alarm would call into the destroyed manager (the sanitizer build sees it).
  for (int i = 0; i < 3; ++i) FhrpTest::InProcessAgent::instance().runEventLoopOnce();
  EXPECT_FALSE(called);
}

}  // namespace
