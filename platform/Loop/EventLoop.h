// SPDX-License-Identifier: Apache-2.0
#pragma once
// The one event loop everything runs on: file descriptors to watch, timers, and the clock that
// measures durations. The agent answers requests on the same thread, so no component blocks it
// and none talks to net-snmp's readfds and alarms or to poll() itself: the daemon and the
// plug-in run it on net-snmp's loop (Snmp::eventLoop()), unit tests on Loop::FakeEventLoop.
#include <functional>

namespace Loop {

class EventLoop {
 public:
  using Callback = std::function<void()>;
  using TimerId = unsigned int;

  virtual ~EventLoop() = default;

  // Calls onReadable whenever fd is readable, until readFdDel; one reader per descriptor (a
  // second replaces the first). `what` names the reader in the loop's slow-callback warning.
  virtual void readFdIs(int fd, const char* what, Callback onReadable) = 0;
  virtual void readFdDel(int fd) = 0;
  // Calls onTimer after `seconds`, then every `seconds` when repeat. A one-shot timer is gone
  // once it has run: deleting it then is harmless. Never returns 0.
  virtual TimerId timerIs(double seconds, bool repeat, const char* what, Callback onTimer) = 0;
  virtual void timerDel(TimerId id) = 0;
  // Seconds on a monotonic clock: for durations and deadlines only, never a time of day (an NTP
  // step at boot must not stretch or shrink a wait).
  virtual double now() const = 0;
};

// Seconds of CLOCK_MONOTONIC.
double monotonicNow();

}  // namespace Loop
