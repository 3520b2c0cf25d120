// SPDX-License-Identifier: Apache-2.0
#include "host/AddressWait.h"

#include <cerrno>
#include <cstring>

#include "kiv/Exception.h"
#include "platform/Log.h"
#include "platform/Status.h"

namespace Host {

AddressWait::AddressWait(Loop::EventLoop& loop, const Kiv::String8& address,
                         std::function<Kiv::String8()> listen, std::function<void()> onListening)
    : loop_(loop),
      address_(address),
      listen_(std::move(listen)),
      onListening_(std::move(onListening)),
      deadline_(loop.now() + kLimitSeconds) {
  Log::warning("cannot listen on " + address_ + " yet: " + std::strerror(EADDRNOTAVAIL) +
               "; trying again every second for up to " +
               std::to_string(static_cast<int>(kLimitSeconds)) + " s");
  Status::is("agent", "waiting for the address of " + address_ + " to be assigned");
  // The timer only wakes the loop: the agent opens its ports between turns, not from inside
  // one of net-snmp's alarms.
  timer_ = loop_.timerIs(kRetrySeconds, true, "listen address retry", [this] { due_ = true; });
}

AddressWait::~AddressWait() {
  if (timer_) loop_.timerDel(*timer_);
}

void AddressWait::check() {
  if (!timer_ || !due_) return;
  due_ = false;
  const Kiv::String8 missing = listen_();
  if (missing.empty()) {
    loop_.timerDel(*timer_);
    timer_.reset();
    onListening_();
    return;
  }
  address_ = missing;
  if (loop_.now() >= deadline_) {
    throw Kiv::RangeException("cannot listen on " + address_ + ": " + std::strerror(EADDRNOTAVAIL) +
                              " (for " + std::to_string(static_cast<int>(kLimitSeconds)) + " s)");
  }
}

}  // namespace Host
