#include "host/JournalLog.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>

namespace Host {
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

// net-snmp hands over a line in several pieces at times ("text: " then the reason); only the
// first piece of a line gets the prefix.
bool atLineStart = true;

// net-snmp passes the message as the caller's argument, the third.
int writeJournalLine(int, int, void* callerArg, void*) {
  const auto* message = static_cast<const snmp_log_message*>(callerArg);
  if (!message || !message->msg) return 0;
  if (atLineStart) std::fprintf(stderr, "<%d>", message->priority);
  std::fputs(message->msg, stderr);
  const size_t length = std::strlen(message->msg);
  atLineStart = length == 0 || message->msg[length - 1] == '\n';
  if (atLineStart) std::fflush(stderr);
  return 0;
}

}  // namespace

void logToStderr() {
  if (!stderrIsJournal()) {
    snmp_enable_stderrlog();
    return;
  }
  snmp_register_callback(SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_LOGGING, writeJournalLine, nullptr);
  snmp_enable_calllog();
}

}  // namespace Host
