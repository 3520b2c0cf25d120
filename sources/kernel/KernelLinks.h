#pragma once
// The kernel's interfaces through rtnetlink: name, ifIndex, MAC, and each interface's primary
// IPv4 address (the first that is not secondary) with its mask. A full dump at start and
// whenever the kernel dropped events (ENOBUFS), events in between.
#include <functional>
#include <map>
#include <set>
#include <vector>

#include "kiv/Types.h"
#include "lirex/EthAddr.h"
#include "lirex/IpAddrWithMask.h"
#include "platform/Loop/EventLoop.h"
#include "sources/frr/FrrSnapshot.h"

struct mnl_socket;
struct nlmsghdr;

namespace Sources {

class KernelLinks {
 public:
  // After each batch of events: the routers whose link with a VRRP virtual MAC
  // (00:00:5e:00:01:VRID, vrrpd's macvlans, named by parent and vrid) came, went or changed,
  // and whether events were lost, so that any router may have changed.
  using OnChange = std::function<void(const std::set<RouterKey>& vrrpLinks, bool lost)>;

  KernelLinks(Loop::EventLoop& loop, OnChange onChange);
  ~KernelLinks();
  KernelLinks(const KernelLinks&) = delete;
  KernelLinks& operator=(const KernelLinks&) = delete;

  // Subscribes, then dumps; Kiv::RangeException when rtnetlink cannot be opened.
  void start();
  KernelView view() const;

 private:
  struct Address {
    Lirex::IpAddrWithMask addr;
    bool secondary = false;
  };
  struct Link {
    Kiv::String8 name;
    Lirex::EthAddr mac;
    U32 parent = 0;  // the lower device of a macvlan
  };
  void resync();
  void dump(int type);
  void readEvents();
  void handle(const nlmsghdr* message);
  void noteVrrpLink(const Link& link);
  static int callback(const nlmsghdr* message, void* data);

  Loop::EventLoop& loop_;
  OnChange onChange_;
  mnl_socket* events_ = nullptr;
  mnl_socket* requests_ = nullptr;
  unsigned sequence_ = 0;
  std::set<RouterKey> vrrpLinks_;
  std::map<U32, Link> links_;
  std::map<U32, std::vector<Address>> addresses_;
};

}  // namespace Sources
