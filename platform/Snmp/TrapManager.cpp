// SPDX-License-Identifier: Apache-2.0
#include "platform/Snmp/TrapManager.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "kiv/Assert.h"
#include "kiv/Trace.h"
#include "platform/Log.h"
#include "platform/Snmp/NetSnmpLoop.h"
#include "platform/Snmp/Oid.h"

namespace Snmp {
namespace {

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

// A queued notification is kept packed in one string: as net-snmp varbind lists (each varbind
// carries a buffer for a 128-subidentifier name) a full queue of ten thousand would take over
// 20 MB; packed, under 1 MB. Per varbind: the type, the name's length, the name, the value's
// length, the value. Numbers take seven bits a byte, as BER writes sub-identifiers: most of
// a name's sub-identifiers then take one byte.
void put(std::string& out, uint64_t n) {
  for (; n >= 0x80; n >>= 7) out.push_back(static_cast<char>(0x80 | (n & 0x7f)));
  out.push_back(static_cast<char>(n));
}

uint64_t take(const char*& in) {
  uint64_t n = 0;
  for (int shift = 0;; shift += 7) {
    const auto byte = static_cast<uint8_t>(*in++);
    n |= static_cast<uint64_t>(byte & 0x7f) << shift;
    if (byte < 0x80) return n;
  }
}

void putOid(std::string& out, const oid* name, size_t length) {
  put(out, length);
  for (size_t i = 0; i < length; ++i) put(out, name[i]);
}

std::vector<oid> takeOid(const char*& in) {
  std::vector<oid> name(take(in));
  for (auto& sub : name) sub = take(in);
  return name;
}

std::string pack(const netsnmp_variable_list* vars) {
  std::string out;
  for (auto* v = vars; v; v = v->next_variable) {
    put(out, v->type);
    putOid(out, v->name, v->name_length);
    if (v->type == ASN_OBJECT_ID) {
      putOid(out, v->val.objid, v->val_len / sizeof(oid));
    } else {
      put(out, v->val_len);
      out.append(reinterpret_cast<const char*>(v->val.string), v->val_len);
    }
  }
  out.shrink_to_fit();
  return out;
}

netsnmp_variable_list* unpack(const std::string& packed) {
  netsnmp_variable_list* vars = nullptr;
  for (const char* in = packed.data(); in < packed.data() + packed.size();) {
    const auto type = static_cast<u_char>(take(in));
    const std::vector<oid> name = takeOid(in);
    if (type == ASN_OBJECT_ID) {
      const std::vector<oid> value = takeOid(in);
      snmp_varlist_add_variable(&vars, name.data(), name.size(), type, value.data(),
                                value.size() * sizeof(oid));
    } else {
      const size_t length = take(in);
      snmp_varlist_add_variable(&vars, name.data(), name.size(), type, in, length);
      in += length;
    }
  }
  return vars;
}

void sendV2Trap(netsnmp_variable_list* vars) {
  send_v2trap(vars);
}

size_t unlimitedRoom() {
  return std::numeric_limits<size_t>::max();
}

}  // namespace

TrapManager& TrapManager::instance() {
  static TrapManager manager;
  return manager;
}

TrapManager::TrapManager() : sender_(sendV2Trap), room_(unlimitedRoom) {}

TrapManager::~TrapManager() {
  if (alarm_) eventLoop().timerDel(alarm_);
}

void TrapManager::enqueueTrap(netsnmp_variable_list* vars) {
  if (!vars) return;
  KIV_ASSERT(
      snmp_oid_compare(vars->name, vars->name_length, snmpTrapOid, OID_LENGTH(snmpTrapOid)) == 0,
      "a notification's varbind list must start with snmpTrapOID.0, not " +
          oidToString(vars->name, vars->name_length));
  OwnedVars owned(vars);
  if (queue_.size() >= capacity_) dropOldest();
  queue_.push_back(pack(vars));
  runDeepest_ = std::max(runDeepest_, queue_.size());
  // A paced run has its next turn scheduled already; otherwise the first turn is due at once.
  schedule(std::chrono::microseconds(1));
}

size_t TrapManager::sendTurn() {
  if (queue_.empty()) return 0;
  if (!pacing_) {
    runStart_ = std::chrono::steady_clock::now();
    runSent_ = 0;
  }
  const size_t n = std::min({burst_, room_(), queue_.size()});
  for (size_t i = 0; i < n; ++i) sendOldest();
  if (!queue_.empty() && !pacing_) {
    pacing_ = true;
    Log::info(std::to_string(queue_.size() + n) + " notifications queued; sending at most " +
              std::to_string(burst_) + " every " + std::to_string(interval_.count()) + " us");
  }
  if (queue_.empty()) logDrained();
  return n;
}

void TrapManager::flush() {
  for (size_t n = queue_.size(); n > 0 && !queue_.empty(); --n) sendOldest();
  if (queue_.empty()) logDrained();
}

void TrapManager::capacityIs(size_t capacity) {
  KIV_ASSERT(capacity >= 1, "the notification queue needs room for one notification");
  capacity_ = capacity;
  while (queue_.size() > capacity_) dropOldest();
}

void TrapManager::pacingIs(size_t burst, std::chrono::microseconds interval) {
  KIV_ASSERT(burst >= 1 && interval.count() >= 1, "pacing needs a burst and an interval");
  burst_ = burst;
  interval_ = interval;
}

void TrapManager::senderIs(Sender sender) {
  sender_ = sender ? std::move(sender) : Sender(sendV2Trap);
}

void TrapManager::receiverRoomIs(Room room) {
  room_ = room ? std::move(room) : Room(unlimitedRoom);
}

void TrapManager::schedule(std::chrono::microseconds delay) {
  if (alarm_) return;
  alarm_ = eventLoop().timerIs(std::chrono::duration<double>(delay).count(), false,
                               "notification queue", [this] { onAlarm(); });
}

void TrapManager::onAlarm() {
  try {
    sendTurn();
  } catch (const std::exception& e) {
    KIV_TRACE(trace(), 0, "sending a notification failed: " << e.what());
  } catch (...) {
    KIV_TRACE(trace(), 0, "sending a notification failed");
  }
  // A one-shot timer is gone once it has run; the next turn needs a new one. Until here a
  // notification the turn raised found this one pending, so it waits the interval too.
  alarm_ = 0;
  if (pending()) schedule(interval_);
}

void TrapManager::sendOldest() {
  OwnedVars vars(unpack(queue_.front()));
  queue_.pop_front();
  ++runSent_;
  KIV_TRACE(trace(), 4,
            "sending notification " << trapName(vars.get()) << ", " << pending() << " queued");
  sender_(vars.get());
}

void TrapManager::dropOldest() {
  OwnedVars oldest(unpack(queue_.front()));
  queue_.pop_front();
  ++dropped_;
  if (runDropped_++ == 0) {
    Log::warning("notification queue full (" + std::to_string(capacity_) +
                 "): dropping the oldest");
  }
  KIV_TRACE(trace(), 0,
            "notification queue full (" << capacity_ << "): dropped " << trapName(oldest.get())
                                        << ", " << dropped_ << " dropped so far");
}

// The end of a run that had to wait or lost notifications is worth a line; a notification
// that went out on its first turn is not.
void TrapManager::logDrained() {
  if (pacing_ || runDropped_) {
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - runStart_;
    char line[160];
    std::snprintf(line, sizeof line,
                  "notification queue drained: %zu sent in %.1f s, at most %zu queued, "
                  "%zu dropped (%zu since start)",
                  runSent_, took.count(), runDeepest_, runDropped_, dropped_);
    Log::info(line);
  }
  pacing_ = false;
  runSent_ = 0;
  runDropped_ = 0;
  runDeepest_ = 0;
}

}  // namespace Snmp
