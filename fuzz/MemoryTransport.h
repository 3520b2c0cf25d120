// SPDX-License-Identifier: Apache-2.0
#pragma once
// A listening address of net-snmp's agent whose datagrams come from memory: a message handed to
// deliver() goes through the path a datagram from the socket takes (the session's read, message
// parsing, the agent's packet check, access control and request handling), and the replies the
// agent sends are returned instead of being written to a socket.
//
// It poses as UDP from 127.0.0.1:40000 to 127.0.0.1:161, so that community-based access
// control maps its messages as it maps a manager's on the wire.
#include <string>
#include <string_view>
#include <vector>

#include "platform/Snmp/NetSnmp.h"

namespace FhrpFuzz {

class MemoryTransport {
 public:
  // The agent must be initialised (init_agent, init_snmp).
  MemoryTransport();
  ~MemoryTransport();
  MemoryTransport(const MemoryTransport&) = delete;
  MemoryTransport& operator=(const MemoryTransport&) = delete;

  // Handles one datagram completely; returns the datagrams sent in reply, in order.
  std::vector<std::string> deliver(std::string_view datagram);

 private:
  static int receive(netsnmp_transport* t, void* buf, int size, void** opaque, int* olength);
  static int send(netsnmp_transport* t, const void* buf, int size, void** opaque, int* olength);
  static int close(netsnmp_transport* t);

  // Only ever in the fd set handed to snmp_read: the session reads through receive().
  int fd_ = -1;
  int handle_ = 0;
  std::string_view pending_;
  bool pendingSet_ = false;
  std::vector<std::string> sent_;
};

}  // namespace FhrpFuzz
