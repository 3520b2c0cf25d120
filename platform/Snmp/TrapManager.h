// SPDX-License-Identifier: Apache-2.0
#pragma once
// The agent's outgoing notification queue.
//
// State changes may come in bursts and from inside request processing, so notifications
// are never sent where they are raised: enqueueTrap queues the varbind list and sets a timer
// on the process's event loop (Snmp::eventLoop(), net-snmp's alarms) with no delay, and the
// loop sends from the queue on its next turn. That works the same in our own daemon loop and
// inside a stock snmpd that loads us, where we do not own the loop.
//
// Sending is paced: one turn sends at most burst() notifications, and while more are
// queued the next turn comes interval() later, so the loop reads and answers requests in
// between. A mass failover of thousands of virtual routers thus neither holds the loop nor
// overflows a receiver on the same machine (UDP drops what a receiver cannot read in time).
// A turn also sends no more than the receiver has room for (receiverRoomIs): an AgentX
// master must answer what it was sent before it gets more.
//
// The host must set NETSNMP_DS_LIB_ALARM_DONT_USE_SIG before init_snmp, as snmpd does:
// otherwise net-snmp runs alarms from a SIGALRM handler.
//
// The queue is bounded: past capacity() the oldest notification is dropped and counted, so
// a flood of state changes cannot grow memory without bound. A paced run's depth and drops
// go to the agent's log.
#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <string>

#include "platform/Snmp/NetSnmp.h"

namespace Snmp {

class TrapManager {
 public:
  static constexpr size_t kDefaultCapacity = 10000;
  // 10 every 10 ms: about 1,000 a second, which a local snmptrapd and Debian's snmpd as
  // AgentX master both keep up with on a loaded machine; far more in one go overflowed them.
  static constexpr size_t kDefaultBurst = 10;
  static constexpr std::chrono::microseconds kDefaultInterval{10000};

  using Sender = std::function<void(netsnmp_variable_list*)>;
  // How many notifications the receiver can take now.
  using Room = std::function<size_t()>;

  // The process's manager, created on first use and destroyed at exit (queued
  // notifications are then dropped unsent).
  static TrapManager& instance();

  TrapManager();
  ~TrapManager();
  TrapManager(const TrapManager&) = delete;
  TrapManager& operator=(const TrapManager&) = delete;

  // Takes ownership of vars, a list that starts with snmpTrapOID.0 (send_v2trap adds
  // sysUpTime.0 itself). Queued as a copy and freed with snmp_free_varbind at once; sent
  // later from the event loop, or dropped when the queue overflows. A null list is ignored.
  void enqueueTrap(netsnmp_variable_list* vars);

  // One paced turn, what the alarm runs: sends the oldest notifications, at most burst()
  // and at most what the receiver has room for. Returns how many it sent. A sender's
  // exception reaches the caller; that notification is gone, the rest stay queued.
  size_t sendTurn();

  // Sends everything queued at the time of the call, unpaced, for callers that run no event
  // loop (tests, fuzz targets). A sender that raises more notifications does not keep it
  // going; those wait for the alarm.
  void flush();

  size_t pending() const { return queue_.size(); }
  // Notifications dropped because the queue was full, since the manager was created.
  size_t dropped() const { return dropped_; }

  size_t capacity() const { return capacity_; }
  // At least 1; lowering it below pending() drops the oldest at once.
  void capacityIs(size_t capacity);

  size_t burst() const { return burst_; }
  std::chrono::microseconds interval() const { return interval_; }
  // burst at least 1; interval at least 1 us.
  void pacingIs(size_t burst, std::chrono::microseconds interval);

  // Replaces how a list is sent (default: send_v2trap); the manager still frees the list
  // when the sender returns. An empty function restores the default.
  void senderIs(Sender sender);
  // Replaces the receiver's room (default: unlimited; the turn's burst bounds it). An empty
  // function restores the default.
  void receiverRoomIs(Room room);

 private:
  void onAlarm();
  void schedule(std::chrono::microseconds delay);
  void sendOldest();
  void dropOldest();
  void logDrained();

  std::deque<std::string> queue_;  // packed varbind lists, oldest first
  size_t capacity_ = kDefaultCapacity;
  size_t dropped_ = 0;
  size_t burst_ = kDefaultBurst;
  std::chrono::microseconds interval_ = kDefaultInterval;
  unsigned int alarm_ = 0;  // the pending turn's timer, 0 when none
  Sender sender_;
  Room room_;
  // The paced run in progress, for the log: it starts when a turn leaves notifications
  // queued and ends when the queue is empty.
  bool pacing_ = false;
  size_t runSent_ = 0;
  size_t runDropped_ = 0;
  size_t runDeepest_ = 0;
  std::chrono::steady_clock::time_point runStart_;
};

}  // namespace Snmp
