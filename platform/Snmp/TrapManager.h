#pragma once
// The agent's outgoing notification queue.
//
// State changes may come in bursts and from inside request processing, so notifications
// are never sent where they are raised: enqueueTrap queues the varbind list and schedules
// a net-snmp alarm with no delay, and the agent's event loop sends the queue when it next
// runs its alarms (agent_check_and_process calls run_alarms on every pass). That works the
// same in our own daemon loop and inside a stock snmpd that loads us, where we do not own
// the loop.
//
// The host must set NETSNMP_DS_LIB_ALARM_DONT_USE_SIG before init_snmp, as snmpd does:
// otherwise net-snmp runs alarms from a SIGALRM handler.
//
// The queue is bounded: past capacity() the oldest notification is dropped, so a flood of
// state changes cannot grow memory without bound.
#include <cstddef>
#include <deque>
#include <functional>

#include "platform/Snmp/NetSnmp.h"

namespace Snmp {

class TrapManager {
 public:
  static constexpr size_t kDefaultCapacity = 10000;
  using Sender = std::function<void(netsnmp_variable_list*)>;

  // The process's manager, created on first use and destroyed at exit (queued
  // notifications are then freed unsent).
  static TrapManager& instance();

  TrapManager();
  ~TrapManager();
  TrapManager(const TrapManager&) = delete;
  TrapManager& operator=(const TrapManager&) = delete;

  // Takes ownership of vars, a list that starts with snmpTrapOID.0 (send_v2trap adds
  // sysUpTime.0 itself). Sent later from the event loop, or dropped when the queue
  // overflows; freed with snmp_free_varbind either way. A null list is ignored.
  void enqueueTrap(netsnmp_variable_list* vars);

  // Sends the notifications queued at the time of the call, oldest first. The alarm calls
  // it; a host may also call it, e.g. before it exits.
  void flush();

  size_t pending() const { return queue_.size(); }
  // Notifications dropped because the queue was full, since the manager was created.
  size_t dropped() const { return dropped_; }

  size_t capacity() const { return capacity_; }
  // At least 1; lowering it below pending() drops the oldest at once.
  void capacityIs(size_t capacity);

  // Replaces how a list is sent (default: send_v2trap); the manager still frees the list
  // when the sender returns. An empty function restores the default.
  void senderIs(Sender sender);

 private:
  static void onAlarm(unsigned int registration, void* self);
  void scheduleFlush();
  void dropOldest();

  std::deque<netsnmp_variable_list*> queue_;
  size_t capacity_ = kDefaultCapacity;
  size_t dropped_ = 0;
  unsigned int alarm_ = 0;  // the pending alarm's registration, 0 when none
  Sender sender_;
};

}  // namespace Snmp
