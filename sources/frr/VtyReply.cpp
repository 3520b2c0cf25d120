// SPDX-License-Identifier: Apache-2.0
#include "sources/frr/VtyReply.h"

#include "kiv/Assert.h"

namespace Sources {
namespace {
constexpr std::size_t kTrailer = 4;  // NUL NUL NUL STATUS
}

Kiv::String8 vtyRequest(std::string_view command) {
  if (command.find_first_of(std::string_view("\0\n", 2)) != std::string_view::npos) {
    throw VtyError("vty command holds a NUL byte or a newline");
  }
  Kiv::String8 request(command);
  request.push_back('\0');
  return request;
}

bool VtyReply::feed(std::string_view bytes) {
  if (complete_) {
    if (!bytes.empty()) throw VtyError("vty sent bytes after the end of its answer");
    return true;
  }
  if (bytes_.size() + bytes.size() > maxBytes_) {
    throw VtyError("vty answer longer than " + std::to_string(maxBytes_) + " bytes");
  }
  bytes_.append(bytes);
  // The terminator can only be the last bytes received: the daemon answers one command with
  // one answer and then waits, so a read never holds the end of one answer and more.
  std::size_t n = bytes_.size();
  complete_ =
      n >= kTrailer && bytes_[n - 4] == '\0' && bytes_[n - 3] == '\0' && bytes_[n - 2] == '\0';
  return complete_;
}

std::string_view VtyReply::text() const {
  KIV_ASSERT(complete_, "the vty answer is not complete");
  return std::string_view(bytes_).substr(0, bytes_.size() - kTrailer);
}

U8 VtyReply::status() const {
  KIV_ASSERT(complete_, "the vty answer is not complete");
  return static_cast<U8>(bytes_.back());
}

}  // namespace Sources
