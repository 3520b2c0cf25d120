#include "host/DaemonLog.h"

#include <cerrno>
#include <cstdio>
#include <string_view>
#include <vector>

#include "platform/Snmp/NetSnmp.h"

namespace Host::DaemonLog {
namespace {

struct State {
  Kiv::String8 partial;  // net-snmp may log a line in several pieces
  bool holding = true;
  std::vector<Kiv::String8> held;
  Kiv::String8 startError;
  Kiv::String8 configFile;
  std::function<bool(int, const Kiv::String8&, int)> filter;
};

State& state() {
  static State s;
  return s;
}

void emit(const Kiv::String8& line) {
  std::fprintf(stderr, "fhrp-snmpd: %s\n", line.c_str());
  std::fflush(stderr);
}

// Lines made from configuration given on the command line name no file ("(null): line 0: ");
// a file's lines keep their name and line number.
Kiv::String8 withoutNoFile(Kiv::String8 line) {
  constexpr std::string_view kNoFile = "(null): line 0: ";
  if (line.compare(0, kNoFile.size(), kNoFile) == 0) line.erase(0, kNoFile.size());
  return line;
}

// The reason alone: net-snmp's "Error: " adds nothing to a line that ends a start.
Kiv::String8 reason(Kiv::String8 line) {
  for (std::string_view word : {"snmpd: ", "Error: ", "Warning: "}) {
    if (auto at = line.find(word); at != Kiv::String8::npos) line.erase(at, word.size());
  }
  // A sink from a trap2sink line that cannot be opened comes with no reason at all.
  if (line == "netsnmp_create_notification_session: ")
    return "a trap sink in --config cannot be opened";
  return line;
}

void complete(int priority, Kiv::String8 line, int error) {
  State& s = state();
  line = withoutNoFile(std::move(line));
  if (s.filter && s.filter(priority, line, error)) return;
  // net-snmp warns of a --config line it ignores (an unknown token): rejected all the same.
  const Kiv::String8 configLinePrefix = s.configFile + ": line ";
  const bool configLine =
      !s.configFile.empty() && line.compare(0, configLinePrefix.size(), configLinePrefix) == 0;
  if ((priority <= LOG_ERR || configLine) && s.startError.empty()) s.startError = reason(line);
  if (s.holding) {
    s.held.push_back(std::move(line));
  } else {
    emit(line);
  }
}

int onLog(int, int, void* serverArg, void*) {
  const int error = errno;
  const auto* message = static_cast<const snmp_log_message*>(serverArg);
  State& s = state();
  s.partial += message->msg ? message->msg : "";
  for (std::size_t nl; (nl = s.partial.find('\n')) != Kiv::String8::npos;) {
    Kiv::String8 line = s.partial.substr(0, nl);
    s.partial.erase(0, nl + 1);
    complete(message->priority, std::move(line), error);
  }
  return SNMP_ERR_NOERROR;
}

}  // namespace

void install(const Kiv::String8& configFile) {
  state().configFile = configFile;
  snmp_disable_log();
  snmp_register_callback(SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_LOGGING, onLog, nullptr);
  snmp_enable_calllog();
}

void started() {
  State& s = state();
  s.holding = false;
  for (const auto& line : s.held) emit(line);
  s.held.clear();
}

const Kiv::String8& startError() {
  return state().startError;
}

void filterIs(std::function<bool(int, const Kiv::String8&, int)> filter) {
  state().filter = std::move(filter);
}

void write(const Kiv::String8& line) {
  started();
  emit(line);
}

}  // namespace Host::DaemonLog
