// SPDX-License-Identifier: Apache-2.0
#include "zentra/StateFile.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "zentra/ZentraTrace.h"

namespace Zentra {

namespace {

Kiv::String8 oneLine(Kiv::String8 text) {
  for (char& c : text) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) c = ' ';
  }
  return text;
}

Kiv::String8 errnoText(int error) {
  if (error == ENOENT) return "no such file";
  if (error == EACCES) {
    // Which user matters: snmpd reads its configuration as root, then runs as another user.
    const passwd* user = ::getpwuid(::geteuid());
    return "permission denied for user " +
           (user ? Kiv::String8(user->pw_name) : std::to_string(::geteuid()));
  }
  Kiv::String8 text = std::strerror(error);
  if (!text.empty() && text[0] >= 'A' && text[0] <= 'Z') text[0] = static_cast<char>(text[0] + 32);
  return text;
}

[[noreturn]] void rejected(const StateFileError& error) {
  KIV_TRACE(zentraTrace(), 0, "rejected " << error.message());
  throw error;
}

class Fd {
 public:
  explicit Fd(int fd) : fd_(fd) {}
  ~Fd() {
    if (fd_ >= 0) ::close(fd_);
  }
  Fd(const Fd&) = delete;
  Fd& operator=(const Fd&) = delete;
  int get() const { return fd_; }

 private:
  int fd_;
};

}  // namespace

StateFileError::StateFileError(const Kiv::String8& file, const Kiv::String8& reason)
    : Kiv::RangeException(oneLine(file + ": " + reason)) {}

StateFile::StateFile(Kiv::String8 path, std::size_t maxBytes)
    : path_(std::move(path)), maxBytes_(maxBytes) {}

Kiv::String8 StateFile::read() const {
  // Non-blocking so that a FIFO put in the file's place cannot stall the agent in open().
  const Fd fd(::open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
  if (fd.get() < 0) throw StateFileError(path_, errnoText(errno));
  struct stat st {};
  if (::fstat(fd.get(), &st) != 0) throw StateFileError(path_, errnoText(errno));
  if (S_ISDIR(st.st_mode)) throw StateFileError(path_, "is a directory");
  if (!S_ISREG(st.st_mode)) throw StateFileError(path_, "is not a regular file");
  const Kiv::String8 tooLarge = "larger than the limit of " + std::to_string(maxBytes_) + " bytes";
  if (static_cast<std::size_t>(st.st_size) > maxBytes_) {
    throw StateFileError(path_, std::to_string(st.st_size) + " bytes, " + tooLarge);
  }
  // A writer may still be appending, so the limit also bounds the reading.
  Kiv::String8 text;
  text.reserve(static_cast<std::size_t>(st.st_size));
  char buffer[64 * 1024];
  while (true) {
    const ssize_t n = ::read(fd.get(), buffer, sizeof buffer);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) throw StateFileError(path_, errnoText(errno));
    if (n == 0) break;
    if (text.size() + static_cast<std::size_t>(n) > maxBytes_) {
      throw StateFileError(path_, tooLarge);
    }
    text.append(buffer, static_cast<std::size_t>(n));
  }
  return text;
}

StateDocument StateFile::load() const {
  Json::Limits limits;
  limits.maxDocumentBytes = maxBytes_;
  try {
    return parseStateDocument(read(), limits);
  } catch (const StateDocumentError& e) {
    rejected(StateFileError(path_, e.message()));
  } catch (const StateFileError& e) {
    rejected(e);
  }
}

}  // namespace Zentra
