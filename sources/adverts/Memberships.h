// SPDX-License-Identifier: Apache-2.0
#pragma once
// The host's membership of the VRRP group on each interface the listener wants to hear: without
// one, the kernel drops the group's packets that arrive there before any socket sees them.
//
// Linux allows an IPv4 socket igmp_max_memberships memberships (20 by default); IPv6 has no such
// count, but a socket's option memory (net.core.optmem_max) runs out after a few hundred (365 on
// Debian 12's kernel, ENOMEM). So a router with more parents (VLANs) needs several sockets. They
// are plain UDP sockets that receive nothing: a join needs no privilege, so interfaces that
// appear after CAP_NET_RAW was dropped are joined all the same, and the family's one raw socket
// hears every group the host joined (IP_MULTICAST_ALL, IPV6_MULTICAST_ALL).
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "kiv/Types.h"
#include "lirex/InetAddr.h"

namespace Sources {

class Memberships {
 public:
  // perSocket 0: the host's igmp_max_memberships for an IPv4 group, no count for IPv6.
  explicit Memberships(Lirex::InetAddr group, std::size_t perSocket = 0);
  ~Memberships();
  Memberships(const Memberships&) = delete;
  Memberships& operator=(const Memberships&) = delete;

  // Joins the group on these interfaces and leaves it on the others. A join that fails is
  // logged once per interface and reason, and tried again only when the wanted set changes:
  // this runs at every snapshot.
  void wantedAre(const std::set<U32>& ifIndexes);
  bool joined(U32 ifIndex) const { return joined_.count(ifIndex) > 0; }
  std::size_t sockets() const { return sockets_.size(); }

 private:
  struct Socket {
    int fd;
    std::size_t members = 0;
    bool full = false;  // the kernel said so, whatever the limit read
  };
  void join(U32 ifIndex);
  int change(int fd, bool join, U32 ifIndex) const;  // 0 or errno
  Lirex::InetAddr group_;
  std::size_t perSocket_;
  std::vector<Socket> sockets_;
  std::set<U32> wanted_;
  std::map<U32, std::size_t> joined_;     // ifIndex: its socket in sockets_
  std::set<std::pair<U32, int>> logged_;  // failures told: ifIndex, errno
};

}  // namespace Sources
