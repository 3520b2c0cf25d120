// SPDX-License-Identifier: Apache-2.0
#include "host/DaemonLog.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/Snmp/NetSnmp.h"

namespace Host::DaemonLog {
namespace {

// systemd sets JOURNAL_STREAM to "DEVICE:INODE" of the stream it connected; a child whose
// stderr was redirected since inherits the variable but not the stream.
bool stderrIsJournal() {
  const char* env = std::getenv("JOURNAL_STREAM");
  if (!env) return false;
  unsigned long long dev = 0, ino = 0;
  if (std::sscanf(env, "%llu:%llu", &dev, &ino) != 2) return false;
  struct stat st {};
  if (fstat(STDERR_FILENO, &st) != 0) return false;
  return st.st_dev == dev && st.st_ino == ino;
}

struct State {
  Kiv::String8 partial;  // net-snmp may log a line in several pieces
  bool holding = true;
  // The journal stamps every line itself and takes its priority from a "<N>" prefix.
  bool journal = stderrIsJournal();
  std::vector<std::pair<int, Kiv::String8>> held;
  bool watching = false;  // for the start's error
  Kiv::String8 startError;
  Kiv::String8 configFile;
};

State& state() {
  static State s;
  return s;
}

void emit(int priority, const Kiv::String8& line) {
  if (state().journal) std::fprintf(stderr, "<%d>", priority);
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

void complete(int priority, Kiv::String8 line) {
  State& s = state();
  line = withoutNoFile(std::move(line));
  // net-snmp warns of a --config line it ignores (an unknown token): rejected all the same.
  const Kiv::String8 configLinePrefix = s.configFile + ": line ";
  const bool configLine =
      !s.configFile.empty() && line.compare(0, configLinePrefix.size(), configLinePrefix) == 0;
  if (s.watching && (priority <= LOG_ERR || configLine) && s.startError.empty())
    s.startError = reason(line);
  if (s.holding) {
    s.held.emplace_back(priority, std::move(line));
  } else {
    emit(priority, line);
  }
}

int onLog(int, int, void* serverArg, void*) {
  const auto* message = static_cast<const snmp_log_message*>(serverArg);
  State& s = state();
  s.partial += message->msg ? message->msg : "";
  for (std::size_t nl; (nl = s.partial.find('\n')) != Kiv::String8::npos;) {
    Kiv::String8 line = s.partial.substr(0, nl);
    s.partial.erase(0, nl + 1);
    complete(message->priority, std::move(line));
  }
  return SNMP_ERR_NOERROR;
}

}  // namespace

void install() {
  snmp_disable_log();
  snmp_unregister_callback(SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_LOGGING, onLog, nullptr, 1);
  snmp_register_callback(SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_LOGGING, onLog, nullptr);
  snmp_enable_calllog();
}

void watchConfiguration(const Kiv::String8& configFile) {
  state().configFile = configFile;
  state().watching = true;
  // Ahead of every other callback at the end of the configuration: a subagent registers its
  // MIB from there, and a master's refusal is told by the subagent's link, in words.
  netsnmp_register_callback(
      SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_POST_READ_CONFIG,
      [](int, int, void*, void*) {
        state().watching = false;
        return 0;
      },
      nullptr, NETSNMP_CALLBACK_HIGHEST_PRIORITY);
}

const Kiv::String8& startError() {
  return state().startError;
}

void release() {
  State& s = state();
  s.holding = false;
  for (const auto& [priority, line] : s.held) emit(priority, line);
  s.held.clear();
}

void discard() {
  State& s = state();
  s.holding = false;
  s.held.clear();
}

}  // namespace Host::DaemonLog
