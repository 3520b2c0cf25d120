#pragma once
// What the reliability tests watch in a running daemon from outside: its resident memory, how
// much it read, whether its walks are well-formed, and whether it ends cleanly.
#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tests/integration/Process.h"
#include "tests/integration/VarBind.h"

namespace Harness {

// Environment for a daemon under test. In the sanitizer build a leak found at exit makes the
// exit status non-zero, and freed memory is held back only briefly so that the resident size
// still means something.
Env daemonCheckEnvironment();
bool sanitizedBuild();

// VmRSS of /proc/PID/status in KiB; -1 when the process is gone.
long residentKb(pid_t pid);
// rchar of /proc/PID/io: every byte the process read, files and sockets alike.
std::uint64_t bytesRead(pid_t pid);
// How much the resident size may grow once warmed up, in KiB: allocator caches settle, a leak
// of a few bytes per request does not. Wider under the sanitizers, whose allocator keeps more.
long residentSlackKb();

// Up times are computed when read: two walks agree on everything else.
std::vector<VarBind> masked(std::vector<VarBind> vbs);
// Empty when every OID lies below root and each is greater than the one before; otherwise
// what is wrong, for the failure message.
std::string orderProblem(const std::vector<VarBind>& vbs, const std::string& root);
// Numeric sub-identifiers of an OID text; empty for an OID that does not parse.
std::vector<unsigned long> oidParts(const std::string& oid);

// Counts the lines of a growing log that contain a text, reading only what was added since the
// last call: a soak's log is read thousands of times.
class LogCounter {
 public:
  LogCounter(std::filesystem::path path, std::string substring);
  std::size_t count();

 private:
  std::filesystem::path path_;
  std::string substring_;
  std::streamoff offset_ = 0;
  std::string partial_;
  std::size_t count_ = 0;
};

}  // namespace Harness
