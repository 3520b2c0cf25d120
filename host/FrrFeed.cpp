#include "host/FrrFeed.h"

#include <cmath>
#include <functional>
#include <map>

#include "platform/Snmp/Log.h"
#include "platform/Snmp/NetSnmp.h"
#include "sources/EventLoop.h"
#include "sources/frr/FrrFeed.h"

namespace Host {

// Sources' file descriptors and timers as net-snmp's readfds and alarms: the agent's one loop.
class NetSnmpLoop : public Sources::EventLoop {
 public:
  ~NetSnmpLoop() override {
    for (const auto& [fd, callback] : readers_) unregister_readfd(fd);
    for (const auto& [id, timer] : timers_) snmp_alarm_unregister(id);
  }

  void readFdIs(int fd, Callback onReadable) override {
    readers_[fd] = std::move(onReadable);
    register_readfd(
        fd,
        [](int fd, void* data) {
          auto* self = static_cast<NetSnmpLoop*>(data);
          auto it = self->readers_.find(fd);
          if (it == self->readers_.end()) return;
          Callback callback = it->second;  // a copy: the callback may remove itself
          callback();
        },
        this);
  }
  void readFdDel(int fd) override {
    if (readers_.erase(fd)) unregister_readfd(fd);
  }

  TimerId timerIs(double seconds, bool repeat, Callback onTimer) override {
    timeval t{};
    t.tv_sec = static_cast<time_t>(seconds);
    t.tv_usec = static_cast<suseconds_t>(std::lround((seconds - std::floor(seconds)) * 1e6));
    if (t.tv_sec == 0 && t.tv_usec == 0) t.tv_usec = 1;
    TimerId id = snmp_alarm_register_hr(
        t, repeat ? SA_REPEAT : 0,
        [](unsigned int id, void* data) {
          auto* self = static_cast<NetSnmpLoop*>(data);
          auto it = self->timers_.find(id);
          if (it == self->timers_.end()) return;
          Callback callback = it->second.callback;
          // net-snmp forgets a one-shot alarm once it has run.
          if (!it->second.repeat) self->timers_.erase(it);
          callback();
        },
        this);
    if (id != 0) timers_[id] = Timer{std::move(onTimer), repeat};
    return id;
  }
  void timerDel(TimerId id) override {
    if (timers_.erase(id)) snmp_alarm_unregister(id);
  }

 private:
  struct Timer {
    Callback callback;
    bool repeat;
  };
  std::map<int, Callback> readers_;
  std::map<TimerId, Timer> timers_;
};

FrrFeed::FrrFeed(Zentra::StatePublisher& publisher, const Kiv::String8& vtyDirectory)
    : loop_(std::make_unique<NetSnmpLoop>()) {
  auto publish = [&publisher, vtyDirectory](const Zentra::StateDocument& snapshot) {
    publisher.apply(snapshot, vtyDirectory + "/vrrpd.vty");
  };
  auto log = [](bool warning, const Kiv::String8& line) {
    Snmp::logLine(warning ? LOG_WARNING : LOG_INFO, line);
  };
  feed_ = std::make_unique<Sources::FrrFeed>(*loop_, vtyDirectory, publish, log);
  feed_->start();
}

FrrFeed::~FrrFeed() = default;

void FrrFeed::refresh() {
  feed_->refresh();
}

}  // namespace Host
