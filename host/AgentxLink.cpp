#include "host/AgentxLink.h"

#include <cstdlib>
#include <cstring>

#include "host/DaemonLog.h"
#include "kiv/Exception.h"
#include "platform/Snmp/NetSnmp.h"

// The subagent's session with its master, open while the link is up (libnetsnmpagent).
extern "C" netsnmp_session* main_session;

namespace Host {
namespace {

// The AgentX errors a master answers a registration with.
Kiv::String8 agentxError(long code) {
  switch (code) {
    case 263:
      return "duplicateRegistration (another subagent already serves it)";
    case 264:
      return "unknownRegistration";
    case 266:
      return "parseError";
    case 267:
      return "requestDenied";
    case 268:
      return "processingError";
    default:
      return "error " + std::to_string(code);
  }
}

bool startsWith(const Kiv::String8& text, std::string_view prefix) {
  return text.compare(0, prefix.size(), prefix) == 0;
}

}  // namespace

AgentxLink::AgentxLink(Kiv::String8 socket, std::function<void()> onReady)
    : socket_(std::move(socket)), onReady_(std::move(onReady)) {
  DaemonLog::filterIs([this](int priority, const Kiv::String8& text, int error) {
    return line(priority, text, error);
  });
}

AgentxLink::~AgentxLink() {
  DaemonLog::filterIs(nullptr);
}

bool AgentxLink::line(int, const Kiv::String8& text, int error) {
  if (text.find("Failed to connect to the agentx master agent") != Kiv::String8::npos) {
    // net-snmp logs the attempt right after the connect failed: errno still holds its reason.
    const Kiv::String8 reason = error ? std::strerror(error) : "cannot connect";
    if (reason != waitingFor_) {
      waitingFor_ = reason;
      DaemonLog::write("waiting for the AgentX master at " + socket_ + ": " + reason);
    }
    return true;
  }
  if (startsWith(text, "registering pdu failed: ")) {
    refused_ = std::strtol(text.c_str() + std::strlen("registering pdu failed: "), nullptr, 10);
    return true;
  }
  return text.find("AgentX subagent connected") != Kiv::String8::npos;
}

void AgentxLink::check() {
  if (!main_session) {
    registered_ = false;
    return;
  }
  if (registered_) return;
  // The registrations are sent and answered while the link comes up, within the same turn.
  registered_ = true;
  waitingFor_.clear();
  const long refused = refused_;
  refused_ = 0;
  if (refused) {
    const Kiv::String8 message = "the AgentX master at " + socket_ +
                                 " refused to register the VRRP-MIB: " + agentxError(refused);
    if (!ready_) throw Kiv::RangeException(message);
    DaemonLog::write(message);
    return;
  }
  if (!ready_) {
    ready_ = true;
    onReady_();
  } else {
    DaemonLog::write("registered with the AgentX master at " + socket_ + " again");
  }
}

}  // namespace Host
