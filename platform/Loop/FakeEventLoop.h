// SPDX-License-Identifier: Apache-2.0
#pragma once
// An event loop whose clock only moves when told, for unit tests and fuzz targets: timers fall
// due as advance() passes their time, and a descriptor's reader runs when the test says the
// descriptor is readable, or when pollOnce() finds it so.
#include <map>
#include <utility>

#include "platform/Loop/EventLoop.h"

namespace Loop {

class FakeEventLoop : public EventLoop {
 public:
  void readFdIs(int fd, const char* what, Callback onReadable) override;
  void readFdDel(int fd) override;
  TimerId timerIs(double seconds, bool repeat, const char* what, Callback onTimer) override;
  void timerDel(TimerId id) override;
  double now() const override { return now_; }

  // Moves the clock on by `seconds`, running every timer that falls due on the way in the
  // order of its due time (a repeating one as often as it falls due).
  void advance(double seconds);
  // Runs fd's reader as the loop would when fd is readable; false when fd has none.
  bool readable(int fd);
  bool reading(int fd) const { return readers_.count(fd) > 0; }
  std::size_t timers() const { return timers_.size(); }
  // Seconds until the next timer is due, or a negative number when none is set.
  double nextDue() const;
  // Waits up to `timeoutSeconds` of real time for a watched descriptor to become readable and
  // runs the readers of those that are (real sockets in a test); the fake clock does not move.
  // False when nothing became readable.
  bool pollOnce(double timeoutSeconds);

 private:
  struct Timer {
    double due;
    double period;  // 0: one-shot
    Callback callback;
  };
  std::map<int, Callback> readers_;
  std::map<TimerId, Timer> timers_;
  TimerId lastId_ = 0;
  double now_ = 1000.0;  // not 0: code that takes 0 for "never" must not be fooled
};

}  // namespace Loop
