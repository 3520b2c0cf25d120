// SPDX-License-Identifier: Apache-2.0
#include "host/Systemd.h"

#include <optional>

#include <systemd/sd-daemon.h>

#include "platform/Snmp/NetSnmpLoop.h"
#include "platform/Status.h"

namespace Host::Systemd {
namespace {

bool readyDue = false;
bool readySent = false;
std::optional<Loop::EventLoop::TimerId> grace;

// One message, so that READY=1 never goes without the status that explains it.
void notify(const Kiv::String8& line) {
  Kiv::String8 message = "STATUS=" + line;
  if (readyDue && !readySent) {
    message = "READY=1\n" + message;
    readySent = true;
  }
  sd_notify(0, message.c_str());
}

}  // namespace

void start() {
  // The agent's own topic leads the line, before any source's.
  Status::is("agent", "");
  Status::sinkIs(notify);
  grace = Snmp::eventLoop().timerIs(kGraceSeconds, false, "readiness grace", [] {
    grace.reset();
    readyDue = true;
    if (!readySent) notify(Status::line());
  });
}

void ready(const Kiv::String8& where) {
  if (grace) Snmp::eventLoop().timerDel(*grace);
  grace.reset();
  readyDue = true;
  Status::is("agent", serving(where));
  if (!readySent) notify(Status::line());
}

Kiv::String8 serving(const Kiv::String8& where) {
  return "serving the VRRP-MIB and the VRRPv3-MIB on " + where;
}

}  // namespace Host::Systemd
