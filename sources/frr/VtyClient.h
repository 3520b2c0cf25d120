// SPDX-License-Identifier: Apache-2.0
#pragma once
// A connection to one daemon's vty socket (e.g. /var/run/frr/vrrpd.vty), on the agent's event
// loop. Queries never block it: vrrpd takes hundreds of milliseconds to compose its answers
// when it runs hundreds of routers, and the agent keeps answering SNMP meanwhile. Commands are
// sent one at a time, in order. An answer that is slow to come is reported once (the daemon may
// be loaded, or stopped) and still awaited on the same connection; only after the much longer
// timeout is the connection given up.
#include <deque>
#include <functional>
#include <optional>
#include <string_view>

#include "kiv/Types.h"
#include "platform/Loop/EventLoop.h"
#include "sources/frr/VtyReply.h"

namespace Sources {

class VtyClient {
 public:
  using OnAnswer = std::function<void(std::string_view text)>;
  using OnFailure = std::function<void(const VtyError& error)>;
  // About the connection rather than one query: a command on the wire for slowSeconds without
  // its answer (once per command), and the daemon closing the connection while nothing was
  // asked (it exits, or it restarts).
  struct Watch {
    std::function<void()> onSlow;
    std::function<void()> onHangUp;
  };

  VtyClient(Loop::EventLoop& loop, Kiv::String8 socketPath, Watch watch = {},
            double slowSeconds = 3.0, double timeoutSeconds = 60.0);
  ~VtyClient();
  VtyClient(const VtyClient&) = delete;
  VtyClient& operator=(const VtyClient&) = delete;

  const Kiv::String8& socketPath() const { return socketPath_; }
  bool connected() const { return fd_ >= 0; }
  bool busy() const { return !queue_.empty(); }

  // Connects (and enters enable mode) when not connected. Later, on the loop: onAnswer with the
  // answer's text, or onFailure with a VtyError for a socket that cannot be reached, a broken
  // connection, a timeout or bytes outside the protocol (then every queued query fails and the
  // connection closes, so the next query connects anew) or an answer with a failure status (the
  // connection stays).
  void query(std::string_view command, OnAnswer onAnswer, OnFailure onFailure);
  // Closes the connection; queued queries are dropped without a call.
  void close();

 private:
  struct Pending {
    Kiv::String8 command;
    OnAnswer onAnswer;
    OnFailure onFailure;
  };
  void connect();
  void send();
  void readable();
  void fail(const Kiv::String8& reason, VtyError::Cause cause);

  Loop::EventLoop& loop_;
  Kiv::String8 socketPath_;
  Watch watch_;
  double slowSeconds_;
  double timeoutSeconds_;
  int fd_ = -1;
  std::deque<Pending> queue_;  // the front one is on the wire
  VtyReply reply_;
  VtyReply answered_;                              // the last answer, while its callback reads it
  std::optional<Loop::EventLoop::TimerId> timer_;  // set while a command is on the wire
};

}  // namespace Sources
