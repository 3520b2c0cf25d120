// SPDX-License-Identifier: Apache-2.0
#include "sources/frr/VtyAdvice.h"

#include <errno.h>
#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Sources {
namespace {

Kiv::String8 directoryOf(const Kiv::String8& path) {
  const auto slash = path.rfind('/');
  if (slash == Kiv::String8::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

Kiv::String8 userName() {
  const passwd* user = getpwuid(geteuid());
  return user ? user->pw_name : "with uid " + std::to_string(geteuid());
}

// The group that may open `path`: its owner group, or else its folder's.
Kiv::String8 groupOf(const Kiv::String8& path) {
  struct stat st {};
  if (stat(path.c_str(), &st) != 0 && stat(directoryOf(path).c_str(), &st) != 0) return "";
  const group* g = getgrgid(st.st_gid);
  return g ? g->gr_name : std::to_string(st.st_gid);
}

}  // namespace

Kiv::String8 vtyAdvice(const Kiv::String8& socketPath, int error) {
  const Kiv::String8 directory = directoryOf(socketPath);
  struct stat st {};
  const int folder = stat(directory.c_str(), &st) != 0 ? errno : S_ISDIR(st.st_mode) ? 0 : ENOTDIR;
  if (folder == ENOTDIR || error == ENOTDIR) {
    return "--frr-vty/fhrpFrr names " + directory + ", which is no directory; FRR's default is " +
           kFrrVtyDirectory;
  }
  if (folder == ENOENT) {
    return "no such directory: --frr-vty/fhrpFrr names " + directory + "; FRR's default is " +
           kFrrVtyDirectory;
  }
  if (error == EACCES || error == EPERM) {
    const Kiv::String8 group = groupOf(socketPath);
    if (group.empty()) return "give the user " + userName() + " access to " + socketPath;
    // A process takes its groups when it starts: a membership added later is not its own.
    return "add the user " + userName() + " to the group " + group + " (the owner group of " +
           socketPath + ") and restart " + program_invocation_short_name;
  }
  return "";
}

Kiv::String8 vtyAdvice(const Kiv::String8& socketPath) {
  // Connecting takes write access to the socket and search access to its folders.
  if (faccessat(AT_FDCWD, socketPath.c_str(), W_OK, AT_EACCESS) == 0) return "";
  return vtyAdvice(socketPath, errno);
}

}  // namespace Sources
