// SPDX-License-Identifier: Apache-2.0
#pragma once
// A --listen address that no interface holds yet: at boot the agent may start before the
// network has assigned it. It is tried again every second for up to a minute, with one line
// saying so and the status naming it; once it opens, the agent is ready. Any other failure
// (the port taken by another process), or the minute running out, ends the start.
#include <functional>
#include <optional>

#include "kiv/Types.h"
#include "platform/Loop/EventLoop.h"

namespace Host {

class AddressWait {
 public:
  static constexpr double kRetrySeconds = 1.0;
  static constexpr double kLimitSeconds = 60.0;

  // `address` could not be opened because it is not assigned; `listen` tries all of them again
  // (empty when listening, else the address still missing; it raises for any other failure),
  // and `onListening` runs once they are open.
  AddressWait(Loop::EventLoop& loop, const Kiv::String8& address,
              std::function<Kiv::String8()> listen, std::function<void()> onListening);
  ~AddressWait();
  AddressWait(const AddressWait&) = delete;
  AddressWait& operator=(const AddressWait&) = delete;

  // After each turn of the loop, outside net-snmp's callbacks: tries again when a second has
  // passed. Raises Kiv::RangeException when the address did not come in time.
  void check();

 private:
  Loop::EventLoop& loop_;
  Kiv::String8 address_;
  std::function<Kiv::String8()> listen_;
  std::function<void()> onListening_;
  double deadline_;
  bool due_ = false;
  std::optional<Loop::EventLoop::TimerId> timer_;  // set while waiting
};

}  // namespace Host
