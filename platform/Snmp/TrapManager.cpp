#include "platform/Snmp/TrapManager.h"

#include <exception>
#include <memory>

#include "kiv/Assert.h"
#include "kiv/Trace.h"
#include "platform/Snmp/Oid.h"

namespace Snmp {
namespace {

const oid kSnmpTrapOid[] = {1, 3, 6, 1, 6, 3, 1, 1, 4, 1, 0};

Kiv::TraceHandle& trace() {
  static Kiv::TraceHandle& h = Kiv::traceHandle("Snmp");
  return h;
}

struct VarbindFree {
  void operator()(netsnmp_variable_list* vars) const { snmp_free_varbind(vars); }
};
using OwnedVars = std::unique_ptr<netsnmp_variable_list, VarbindFree>;

// The notification's identity for traces: the value of snmpTrapOID.0.
Kiv::String8 trapName(const netsnmp_variable_list* vars) {
  if (vars->type != ASN_OBJECT_ID || !vars->val.objid) return "(no trap OID)";
  return oidToString(vars->val.objid, vars->val_len / sizeof(oid));
}

void sendV2Trap(netsnmp_variable_list* vars) {
  send_v2trap(vars);
}

}  // namespace

TrapManager& TrapManager::instance() {
  static TrapManager manager;
  return manager;
}

TrapManager::TrapManager() : sender_(sendV2Trap) {}

TrapManager::~TrapManager() {
  if (alarm_) snmp_alarm_unregister(alarm_);
  for (auto* vars : queue_) snmp_free_varbind(vars);
}

void TrapManager::enqueueTrap(netsnmp_variable_list* vars) {
  if (!vars) return;
  KIV_ASSERT(
      snmp_oid_compare(vars->name, vars->name_length, kSnmpTrapOid, OID_LENGTH(kSnmpTrapOid)) == 0,
      "a notification's varbind list must start with snmpTrapOID.0, not " +
          oidToString(vars->name, vars->name_length));
  if (queue_.size() >= capacity_) dropOldest();
  queue_.push_back(vars);
  scheduleFlush();
}

void TrapManager::flush() {
  // Only what is queued now: a sender that raises more notifications must not keep this
  // loop going; those wait for the next alarm.
  for (size_t n = queue_.size(); n > 0 && !queue_.empty(); --n) {
    OwnedVars vars(queue_.front());
    queue_.pop_front();
    KIV_TRACE(trace(), 4,
              "sending notification " << trapName(vars.get()) << ", " << pending() << " queued");
    sender_(vars.get());
  }
}

void TrapManager::capacityIs(size_t capacity) {
  KIV_ASSERT(capacity >= 1, "the notification queue needs room for one notification");
  capacity_ = capacity;
  while (queue_.size() > capacity_) dropOldest();
}

void TrapManager::senderIs(Sender sender) {
  sender_ = sender ? std::move(sender) : Sender(sendV2Trap);
}

void TrapManager::scheduleFlush() {
  if (alarm_) return;
  // A zero delay is 1 us in net-snmp: due on the event loop's next pass.
  alarm_ = snmp_alarm_register(0, 0, &TrapManager::onAlarm, this);
  KIV_ASSERT(alarm_ != 0, "cannot register the notification alarm");
}

void TrapManager::onAlarm(unsigned int, void* self) {
  auto* manager = static_cast<TrapManager*>(self);
  // A one-shot alarm is gone once this returns; a notification queued from here on
  // needs a new one.
  manager->alarm_ = 0;
  try {
    manager->flush();
  } catch (const std::exception& e) {
    // Nothing may unwind into net-snmp's C frames.
    KIV_TRACE(trace(), 0, "sending a notification failed: " << e.what());
  } catch (...) {
    KIV_TRACE(trace(), 0, "sending a notification failed");
  }
  if (manager->pending()) manager->scheduleFlush();
}

void TrapManager::dropOldest() {
  OwnedVars oldest(queue_.front());
  queue_.pop_front();
  ++dropped_;
  KIV_TRACE(trace(), 0,
            "notification queue full (" << capacity_ << "): dropped " << trapName(oldest.get())
                                        << ", " << dropped_ << " dropped so far");
}

}  // namespace Snmp
