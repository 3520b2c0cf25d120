// SPDX-License-Identifier: Apache-2.0
#pragma once
// What KernelLinks needs of rtnetlink: a socket subscribed to link and address events, and
// dumps on a socket of their own. The kernel's sockets (openRtnetlink) in the product; unit tests
// hand KernelLinks a transport of their own.
#include <sys/types.h>

#include <cstddef>
#include <functional>
#include <memory>

#include "kiv/Types.h"

struct nlmsghdr;

namespace Sources {

class Rtnetlink {
 public:
  using Log = std::function<void(bool warning, const Kiv::String8& line)>;
  using Each = std::function<void(const nlmsghdr* message)>;

  virtual ~Rtnetlink() = default;
  // Readable while events are queued.
  virtual int eventFd() const = 0;
  // The next datagram of events into `buffer`: its length, 0 when none is queued, or -1 with
  // errno (ENOBUFS: the kernel dropped events because the receive buffer was full).
  virtual ssize_t nextEvents(char* buffer, std::size_t size) = 0;
  // Dumps the links (RTM_GETLINK) or the addresses of both families (RTM_GETADDR), message by
  // message.
  // Kiv::RangeException when the dump fails, or is interrupted by a change it would have missed.
  virtual void dump(U16 type, const Each& each) = 0;
};

// The event socket gets a receive buffer of `FHRP_NETLINK_RCVBUF` bytes from the environment (a
// diagnostic knob), else of kReceiveBufferBytes; a smaller one than asked for is logged once.
// Kiv::RangeException when rtnetlink cannot be opened.
constexpr int kReceiveBufferBytes = 4 * 1024 * 1024;
std::unique_ptr<Rtnetlink> openRtnetlink(const Rtnetlink::Log& log);

}  // namespace Sources
