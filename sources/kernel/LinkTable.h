// SPDX-License-Identifier: Apache-2.0
#pragma once
// The kernel's interfaces as rtnetlink messages describe them: name, ifIndex, MAC, the lower
// device of a macvlan, its protodown flag, each interface's IPv4 addresses and its IPv6
// link-local ones (the address an IPv6 VRRP router advertises from). Fed by a dump
// (a fresh table) or by events (on top of the last dump); the messages are the kernel's, but a
// table never trusts them further than their own lengths say.
#include <map>
#include <optional>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include "kiv/Types.h"
#include "lirex/EthAddr.h"
#include "lirex/InetAddr.h"
#include "lirex/IpAddrWithMask.h"
#include "sources/frr/FrrSnapshot.h"

struct nlmsghdr;

namespace Sources {

class LinkTable {
 public:
  // One message; anything but a well-formed link, IPv4 address or IPv6 link-local address
  // message is skipped.
  void handle(const nlmsghdr* message);
  // Every message of one datagram of events, up to the first that does not fit it.
  void apply(std::string_view datagram);

  // The routers (parent, vrid) whose VRRP link (a MAC 00:00:5e:00:01:VRID or, for IPv6,
  // 00:00:5e:00:02:VRID: vrrpd's macvlans) came, went or flipped its protodown since the last call.
  // vrrpd flips protodown on every transition into or out of master; the carrier change that
  // follows it, or a new address, moves nothing.
  std::set<RouterKey> takeVrrpChanges();
  // Whether view() changed since the last call: a failover flips links, it renames none.
  bool takeViewChanged() { return std::exchange(viewChanged_, false); }
  // Interfaces by name: ifIndex, primary IPv4 address (the first that is not secondary) and
  // IPv6 link-local address (the first).
  KernelView view() const;

 private:
  struct Address {
    Lirex::IpAddrWithMask addr;
    bool secondary = false;
  };
  struct Link {
    Kiv::String8 name;
    Lirex::EthAddr mac;
    U32 parent = 0;                 // the lower device of a macvlan
    std::optional<bool> protodown;  // unknown on a kernel that does not report it
  };
  void linkMessage(const nlmsghdr* message);
  void addressMessage(const nlmsghdr* message);
  void linkLocalMessage(const nlmsghdr* message);
  void noteVrrpLink(const Link& link);

  std::map<U32, Link> links_;
  std::map<U32, std::vector<Address>> addresses_;
  std::map<U32, std::vector<Lirex::InetAddr>> linkLocals_;
  std::set<RouterKey> vrrpChanges_;
  bool viewChanged_ = true;
};

}  // namespace Sources
