// SPDX-License-Identifier: Apache-2.0
#include "zentra/StateFileWatcher.h"

#include <filesystem>

#include <sys/inotify.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string_view>

#include "zentra/StateFile.h"

namespace Zentra {

namespace {

// IN_ATTRIB: a file the agent could not read may become readable by a chmod alone.
constexpr U32 kFileEvents =
    IN_CLOSE_WRITE | IN_MOVED_TO | IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_ATTRIB;
constexpr U32 kDirectoryGone = IN_DELETE_SELF | IN_MOVE_SELF | IN_IGNORED | IN_UNMOUNT;

}  // namespace

StateFileWatcher::StateFileWatcher(const Kiv::String8& path) {
  const std::filesystem::path p(path);
  fileName_ = p.filename().string();
  directory_ = p.has_parent_path() ? p.parent_path().string() : Kiv::String8(1, '.');
  if (fileName_.empty()) throw StateFileError(path, "names a directory, not a file");
  fd_ = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
  if (fd_ < 0) {
    throw StateFileError(path, Kiv::String8("cannot watch: ") + std::strerror(errno));
  }
  if (::inotify_add_watch(fd_, directory_.c_str(),
                          kFileEvents | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR) < 0) {
    const int error = errno;
    ::close(fd_);
    fd_ = -1;
    // Built by appending: GCC 12 at -O2 warns falsely on the chained operator+ form.
    Kiv::String8 reason = "cannot watch directory ";
    reason.append(directory_).append(": ").append(std::strerror(error));
    throw StateFileError(path, reason);
  }
}

StateFileWatcher::~StateFileWatcher() {
  if (fd_ >= 0) ::close(fd_);
}

bool StateFileWatcher::handleEvents() {
  bool changed = false;
  alignas(inotify_event) char buffer[16 * 1024];
  while (true) {
    const ssize_t n = ::read(fd_, buffer, sizeof buffer);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;  // EAGAIN: drained
    for (ssize_t pos = 0; pos < n;) {
      const auto* event = reinterpret_cast<const inotify_event*>(buffer + pos);
      pos += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
      if (event->mask & IN_Q_OVERFLOW) {
        changed = true;  // events were dropped: ours may be among them
      } else if (event->mask & kDirectoryGone) {
        watching_ = false;
        changed = true;
      } else if ((event->mask & kFileEvents) && event->len > 0 &&
                 std::string_view(event->name) == fileName_) {
        changed = true;
      }
    }
  }
  return changed;
}

}  // namespace Zentra
