// SPDX-License-Identifier: Apache-2.0
#include "platform/Snmp/NetSnmpLoop.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <map>
#include <new>

#include "platform/Log.h"
#include "platform/Snmp/NetSnmp.h"

namespace Snmp {
namespace {

double cpuNow() {
  timespec t{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

// Runs one callback as the loop's turn: timed, and with nothing thrown past it.
void run(const char* what, const Loop::EventLoop::Callback& callback) {
  const double wall = Loop::monotonicNow();
  const double cpu = cpuNow();
  try {
    callback();
  } catch (const std::exception& e) {
    Log::error(Kiv::String8(what) + " failed: " + e.what());
  } catch (...) {
    Log::error(Kiv::String8(what) + " failed");
  }
  const double held = Loop::monotonicNow() - wall;
  if (held > kSlowSeconds) {
    char line[160];
    std::snprintf(line, sizeof line, "%s held the event loop for %.1f s (CPU %.1f s)", what, held,
                  cpuNow() - cpu);
    Log::warning(line);
  }
}

class NetSnmpLoop : public Loop::EventLoop {
 public:
  void readFdIs(int fd, const char* what, Callback onReadable) override {
    const bool known = readers_.count(fd) > 0;
    readers_[fd] = Reader{what, std::move(onReadable)};
    if (known) return;
    register_readfd(
        fd,
        [](int fd, void* data) {
          auto& readers = static_cast<NetSnmpLoop*>(data)->readers_;
          auto it = readers.find(fd);
          if (it == readers.end()) return;
          const Reader reader = it->second;  // a copy: the callback may remove itself
          run(reader.what, reader.callback);
        },
        this);
  }

  void readFdDel(int fd) override {
    if (readers_.erase(fd)) unregister_readfd(fd);
  }

  TimerId timerIs(double seconds, bool repeat, const char* what, Callback onTimer) override {
    timeval t{};
    t.tv_sec = static_cast<time_t>(seconds);
    t.tv_usec = static_cast<suseconds_t>(std::lround((seconds - std::floor(seconds)) * 1e6));
    if (t.tv_usec >= 1000000) {
      ++t.tv_sec;
      t.tv_usec -= 1000000;
    }
    if (t.tv_sec == 0 && t.tv_usec == 0) t.tv_usec = 1;
    const TimerId id = snmp_alarm_register_hr(
        t, repeat ? SA_REPEAT : 0,
        [](unsigned int id, void* data) {
          auto& timers = static_cast<NetSnmpLoop*>(data)->timers_;
          auto it = timers.find(id);
          if (it == timers.end()) return;
          const Timer timer = it->second;
          // net-snmp forgets a one-shot alarm once it has run.
          if (!timer.repeat) timers.erase(it);
          run(timer.what, timer.callback);
        },
        this);
    if (id == 0) {
      // net-snmp only fails for want of memory; the process cannot go on without its timers.
      Log::error(Kiv::String8("cannot register the ") + what + " timer");
      std::abort();
    }
    timers_[id] = Timer{what, std::move(onTimer), repeat};
    return id;
  }

  void timerDel(TimerId id) override {
    if (timers_.erase(id)) snmp_alarm_unregister(id);
  }

  double now() const override { return Loop::monotonicNow(); }

 private:
  struct Reader {
    const char* what;
    Callback callback;
  };
  struct Timer {
    const char* what;
    Callback callback;
    bool repeat;
  };
  std::map<int, Reader> readers_;
  std::map<TimerId, Timer> timers_;
};

}  // namespace

Loop::EventLoop& eventLoop() {
  // Never destroyed (built in static storage, no destructor runs at exit): other statics, such
  // as the notification queue, may still delete their timers while the process exits.
  alignas(NetSnmpLoop) static unsigned char storage[sizeof(NetSnmpLoop)];
  static NetSnmpLoop* loop = ::new (storage) NetSnmpLoop;
  return *loop;
}

}  // namespace Snmp
