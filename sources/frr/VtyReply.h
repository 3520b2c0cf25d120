// SPDX-License-Identifier: Apache-2.0
#pragma once
// The framing of a daemon's vty socket, as vtysh speaks it: a command is its text and one NUL
// byte; the answer is text ending in three NUL bytes and a status byte (0: success).
#include <cstddef>
#include <string_view>
#include <utility>

#include "kiv/Exception.h"
#include "kiv/Types.h"

namespace Sources {

// A vty that cannot be reached, hangs up, keeps its answer too long or answers outside its
// protocol. The cause tells a daemon that is gone from one that is only slow or confused: only
// the first says anything about its routers.
class VtyError : public Kiv::RangeException {
 public:
  enum class Cause {
    gone,    // the socket cannot be reached, or the daemon closed the connection
    late,    // no answer within the client's bound; the daemon may still be alive
    answer,  // an answer with a failure status, or bytes outside the protocol
  };
  explicit VtyError(Kiv::String8 message, Cause cause = Cause::answer)
      : Kiv::RangeException(std::move(message)), cause_(cause) {}
  Cause cause() const { return cause_; }

 private:
  Cause cause_;
};

// The bytes that send `command`; a command holding a NUL byte or a newline would be read as
// more than one and is refused.
Kiv::String8 vtyRequest(std::string_view command);

// Collects one answer from the bytes as they arrive.
class VtyReply {
 public:
  static constexpr std::size_t kDefaultMaxBytes = 16 * 1024 * 1024;
  explicit VtyReply(std::size_t maxBytes = kDefaultMaxBytes) : maxBytes_(maxBytes) {}

  // True once the answer is complete. VtyError when it grows past the limit or bytes follow
  // its end (the daemon answered something that was never asked).
  bool feed(std::string_view bytes);
  // Ready for the next answer; the buffer stays, so that a large answer every second allocates
  // nothing.
  void clear() {
    bytes_.clear();
    complete_ = false;
  }
  bool complete() const { return complete_; }
  // Valid once complete: the text without the terminator, and the status byte.
  std::string_view text() const;
  U8 status() const;

 private:
  std::size_t maxBytes_;
  Kiv::String8 bytes_;
  bool complete_ = false;
};

}  // namespace Sources
