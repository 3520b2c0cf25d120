// SPDX-License-Identifier: Apache-2.0
#pragma once
// SIGTERM/SIGINT and SIGHUP delivered on the agent's event loop: the handlers only
// write a byte to a pipe that the loop reads, so the real work never runs inside a
// signal handler and a signal arriving just before the loop blocks is not lost.
#include <functional>

namespace Host {

void installSignalHandlers(std::function<void()> onTerminate, std::function<void()> onHangup);

}  // namespace Host
