// SPDX-License-Identifier: Apache-2.0
#include "host/PersistentStore.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "kiv/Exception.h"

namespace Host {
namespace {

// net-snmp would take a relative folder from the root of the file system.
Kiv::String8 absolute(const Kiv::String8& dir) {
  std::error_code error;
  const auto path = std::filesystem::absolute(dir, error);
  if (error) {
    throw Kiv::RangeException("cannot make the persistent folder " + dir +
                              " absolute: " + error.message());
  }
  return path.lexically_normal().string();
}

Kiv::RangeException refused(const Kiv::String8& dir, const Kiv::String8& why) {
  return Kiv::RangeException("persistent folder " + dir + " refused: " + why +
                             " (remove it, or set SNMP_PERSISTENT_DIR)");
}

// In a sticky folder such as /tmp, a folder that is ours cannot be renamed or removed by
// another user after this check: what is checked stays what net-snmp uses.
void makePrivate(const Kiv::String8& dir) {
  if (::mkdir(dir.c_str(), 0700) == 0) return;
  const int error = errno;
  struct stat st {};
  if (error != EEXIST || ::lstat(dir.c_str(), &st) != 0) {
    throw refused(dir, Kiv::String8("cannot create it: ") + std::strerror(error));
  }
  if (S_ISLNK(st.st_mode)) throw refused(dir, "it is a symbolic link");
  if (!S_ISDIR(st.st_mode)) throw refused(dir, "it is not a folder");
  if (st.st_uid != geteuid()) throw refused(dir, "it belongs to UID " + std::to_string(st.st_uid));
  if (st.st_mode & (S_IWGRP | S_IWOTH)) {
    char mode[8];
    std::snprintf(mode, sizeof mode, "%04o", static_cast<unsigned>(st.st_mode & 07777));
    throw refused(dir, Kiv::String8("its group or others may write to it (mode ") + mode + ")");
  }
}

}  // namespace

Kiv::String8 persistentDirectory() {
  if (const char* env = std::getenv("SNMP_PERSISTENT_DIR"); env && *env) {
    const Kiv::String8 dir = absolute(env);
    // The operator's choice; net-snmp creates what is missing of it when it first writes.
    ::mkdir(dir.c_str(), 0700);
    return dir;
  }
  if (geteuid() == 0) {
    ::mkdir("/var/lib/fhrp-snmp", 0700);
    return "/var/lib/fhrp-snmp";
  }
  const char* tmp = std::getenv("TMPDIR");
  const Kiv::String8 dir = absolute(Kiv::String8(tmp && *tmp ? tmp : "/tmp") + "/fhrp-snmpd-" +
                                    std::to_string(geteuid()));
  makePrivate(dir);
  return dir;
}

}  // namespace Host
