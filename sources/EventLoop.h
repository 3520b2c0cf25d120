#pragma once
// What a source needs from the loop it runs on: file descriptors to watch and timers. The host
// implements it on net-snmp's one event loop, so sources never need SNMP and everything, the
// agent included, runs on one thread.
#include <functional>

namespace Sources {

class EventLoop {
 public:
  using Callback = std::function<void()>;
  using TimerId = unsigned int;

  virtual ~EventLoop() = default;
  // Calls onReadable whenever fd is readable, until readFdDel.
  virtual void readFdIs(int fd, Callback onReadable) = 0;
  virtual void readFdDel(int fd) = 0;
  // Calls onTimer after `seconds`, then every `seconds` when repeat; never 0.
  virtual TimerId timerIs(double seconds, bool repeat, Callback onTimer) = 0;
  virtual void timerDel(TimerId id) = 0;
};

}  // namespace Sources
