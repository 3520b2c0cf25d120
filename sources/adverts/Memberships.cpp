// SPDX-License-Identifier: Apache-2.0
#include "sources/adverts/Memberships.h"

#include <net/if.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <limits>

#include "platform/Log.h"

namespace Sources {
namespace {

constexpr std::size_t kDefaultPerSocket = 20;  // Linux's default igmp_max_memberships

std::size_t hostLimit(const Lirex::InetAddr& group) {
  if (group.isV6()) return std::numeric_limits<std::size_t>::max();
  std::ifstream in("/proc/sys/net/ipv4/igmp_max_memberships");
  long limit = 0;
  return in >> limit && limit > 0 ? static_cast<std::size_t>(limit) : kDefaultPerSocket;
}

Kiv::String8 interfaceName(U32 ifIndex) {
  char name[IF_NAMESIZE] = {};
  Kiv::String8 index = "ifIndex " + std::to_string(ifIndex);
  return if_indextoname(ifIndex, name) ? Kiv::String8(name) + " (" + index + ")" : index;
}

}  // namespace

Memberships::Memberships(Lirex::InetAddr group, std::size_t perSocket)
    : group_(group), perSocket_(perSocket ? perSocket : hostLimit(group)) {}

Memberships::~Memberships() {
  for (const Socket& s : sockets_) ::close(s.fd);
}

int Memberships::change(int fd, bool join, U32 ifIndex) const {
  int done;
  if (group_.isV4()) {
    ip_mreqn request{};
    request.imr_multiaddr.s_addr = htonl(group_.v4().value());
    request.imr_ifindex = static_cast<int>(ifIndex);
    done = setsockopt(fd, IPPROTO_IP, join ? IP_ADD_MEMBERSHIP : IP_DROP_MEMBERSHIP, &request,
                      sizeof(request));
  } else {
    ipv6_mreq request{};
    std::memcpy(&request.ipv6mr_multiaddr, group_.bytes().data(), 16);
    request.ipv6mr_interface = ifIndex;
    done = setsockopt(fd, IPPROTO_IPV6, join ? IPV6_JOIN_GROUP : IPV6_LEAVE_GROUP, &request,
                      sizeof(request));
  }
  return done == 0 ? 0 : errno;
}

void Memberships::wantedAre(const std::set<U32>& ifIndexes) {
  if (ifIndexes == wanted_) return;
  wanted_ = ifIndexes;
  for (auto it = joined_.begin(); it != joined_.end();) {
    if (wanted_.count(it->first)) {
      ++it;
      continue;
    }
    // A vanished interface took its membership with it: the kernel's answer does not matter.
    Socket& s = sockets_[it->second];
    change(s.fd, false, it->first);
    --s.members;
    s.full = false;
    it = joined_.erase(it);
  }
  for (U32 index : wanted_) {
    if (!joined_.count(index)) join(index);
  }
}

void Memberships::join(U32 ifIndex) {
  int error = 0;
  for (std::size_t i = 0;; ++i) {
    const bool fresh = i == sockets_.size();
    if (fresh) {
      int fd = ::socket(group_.isV4() ? AF_INET : AF_INET6, SOCK_DGRAM | SOCK_CLOEXEC, 0);
      if (fd < 0) {
        error = errno;
        break;
      }
      sockets_.push_back(Socket{fd});
    }
    Socket& s = sockets_[i];
    if (s.full || s.members >= perSocket_) continue;
    error = change(s.fd, true, ifIndex);
    if (!error) {
      ++s.members;
      joined_[ifIndex] = i;
      std::erase_if(logged_, [&](const auto& told) { return told.first == ifIndex; });
      return;
    }
    if (fresh) {
      ::close(s.fd);
      sockets_.pop_back();
      break;
    }
    if (error != ENOBUFS && error != ENOMEM) break;
    // This socket is at the host's limit (lower than the one read, or its option memory): the
    // next one may have room.
    s.full = true;
  }
  if (logged_.insert({ifIndex, error}).second) {
    Log::warning("cannot join " + Lirex::valueToStrep(group_) + " on " + interfaceName(ifIndex) +
                 ": " + std::strerror(error) + "; VRRP advertisements there go unheard");
  }
}

}  // namespace Sources
