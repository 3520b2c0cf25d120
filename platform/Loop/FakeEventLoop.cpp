// SPDX-License-Identifier: Apache-2.0
#include "platform/Loop/FakeEventLoop.h"

#include <poll.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace Loop {

void FakeEventLoop::readFdIs(int fd, const char*, Callback onReadable) {
  readers_[fd] = std::move(onReadable);
}

void FakeEventLoop::readFdDel(int fd) {
  readers_.erase(fd);
}

EventLoop::TimerId FakeEventLoop::timerIs(double seconds, bool repeat, const char*,
                                          Callback onTimer) {
  timers_[++lastId_] = Timer{now_ + seconds, repeat ? seconds : 0.0, std::move(onTimer)};
  return lastId_;
}

void FakeEventLoop::timerDel(TimerId id) {
  timers_.erase(id);
}

double FakeEventLoop::nextDue() const {
  if (timers_.empty()) return -1;
  auto first = std::min_element(timers_.begin(), timers_.end(), [](const auto& a, const auto& b) {
    return a.second.due < b.second.due;
  });
  return std::max(0.0, first->second.due - now_);
}

void FakeEventLoop::advance(double seconds) {
  const double until = now_ + seconds;
  for (;;) {
    auto first = std::min_element(timers_.begin(), timers_.end(), [](const auto& a, const auto& b) {
      return a.second.due < b.second.due || (a.second.due == b.second.due && a.first < b.first);
    });
    if (first == timers_.end() || first->second.due > until) break;
    now_ = std::max(now_, first->second.due);
    Callback callback = first->second.callback;  // a copy: the callback may delete its timer
    if (first->second.period > 0) {
      first->second.due += first->second.period;
    } else {
      timers_.erase(first);
    }
    callback();
  }
  now_ = until;
}

bool FakeEventLoop::readable(int fd) {
  auto it = readers_.find(fd);
  if (it == readers_.end()) return false;
  Callback callback = it->second;
  callback();
  return true;
}

bool FakeEventLoop::pollOnce(double timeoutSeconds) {
  std::vector<pollfd> fds;
  for (const auto& [fd, callback] : readers_) fds.push_back(pollfd{fd, POLLIN, 0});
  if (fds.empty()) return false;
  const int n = ::poll(fds.data(), fds.size(), static_cast<int>(std::lround(timeoutSeconds * 1e3)));
  if (n <= 0) return false;
  for (const pollfd& p : fds) {
    if (p.revents) readable(p.fd);
  }
  return true;
}

}  // namespace Loop
