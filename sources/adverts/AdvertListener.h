// SPDX-License-Identifier: Apache-2.0
#pragma once
// Listens to the VRRP advertisements on the wire, IPv4 and IPv6, versions 2 and 3: keeps the
// address and priority of each router's current master, which no daemon reports on a backup,
// and counts the errors in what arrives, which vrrpd drops without a count. A router never sees
// its own advertisements this way, only the other routers'.
//
// Two raw sockets (AdvertSocket), opened at start: the only thing that needs CAP_NET_RAW. A
// family's group is joined (Memberships) on each parent with a router of that family, and only
// what arrives there is heard: the rest (a macvlan's copy of the parent's, another family that
// vrrpd's own joins let in) is dropped uncounted. The segment is not trusted: the receive rules
// (Advert.h), a source in the parent's subnet (IPv4) or link-local (IPv6), bounded reads and a
// bounded rate of changes told, so that a flood of forged advertisements neither moves a master
// nor keeps the agent from answering.
//
// What is counted, and where (the VRRPv3-MIB's statistics), of what is heard and sent to the
// group; each packet counts as one error at most, the first rule it breaks (Advert.h's order,
// then the listener's):
//  - per router, keyed by parent, vrid and family, when a router of that family on the parent
//    has the packet's vrid: TTL or hop limit not 255 (ipTtlErrors); shorter than its header or
//    its addresses (packetLengthErrors); not an advertisement (invalidTypePktsRcvd); an
//    interval of 0, or one other than the router's (advIntervalErrors; version 2 compares whole
//    seconds as it sends them); addresses other than the router's (addressListErrors, IPv6
//    link-local addresses left out on both sides); and, not an error, priority 0
//    (priZeroPktsRcvd);
//  - a version that is neither 3 nor 2 over IPv4, or not the router's, and a bad checksum:
//    globally (versionErrors, checksumErrors), and for the router too when one has the vrid;
//  - any other error for a vrid no router of that family on the parent has, router 0
//    included: globally (vrIdErrors).
// A well-formed packet from a source that cannot be a router of the link counts nowhere. The
// counters start at 0 and only grow while the listener lives. A change of them is told like a
// master's, at most every kChangeGap.
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include "kiv/Types.h"
#include "lirex/InetAddr.h"
#include "lirex/IpAddrWithMask.h"
#include "platform/Loop/EventLoop.h"
#include "sources/adverts/AdvertSocket.h"
#include "sources/adverts/AdvertView.h"
#include "sources/adverts/Memberships.h"
#include "sources/adverts/Speakers.h"

namespace Sources {

class AdvertListener {
 public:
  // A router as configured on its parent: what its advertisements must say.
  struct Router {
    U32 version = 3;
    U32 intervalCentiseconds = 100;
    std::vector<Lirex::InetAddr> addresses;
    bool operator==(const Router&) const = default;
  };
  struct Parent {
    std::optional<Lirex::IpAddrWithMask> subnet;  // the primary IPv4 address and prefix
    std::map<std::pair<U32, Lirex::AddrFamily>, Router> routers;  // by vrid and family
    bool operator==(const Parent&) const = default;
  };
  using Parents = std::map<U32, Parent>;  // by ifIndex

  static constexpr double kChangeGap = 0.25;  // seconds between two changes told

  AdvertListener(Loop::EventLoop& loop, std::function<void()> onChange);
  ~AdvertListener();
  AdvertListener(const AdvertListener&) = delete;
  AdvertListener& operator=(const AdvertListener&) = delete;

  // Opens both sockets; the IPv6 one is left out where the kernel has no IPv6. Otherwise a
  // socket that cannot be opened (no CAP_NET_RAW) raises Kiv::RangeException with the reason,
  // and none is.
  void start();
  // Hears these parents and routers from now on; masters of routers no longer there, or from a
  // source the new subnet refuses, are forgotten at once (the caller reads view() next, no
  // onChange for it). Counters stay.
  void interfacesAre(const Parents& parents);
  // One packet as a socket read it on `ifIndex`; what start()'s sockets feed, and tests.
  AdvertFault received(U32 ifIndex, std::string_view packet);
  // What the listener knows now, for a snapshot.
  AdvertView view() const;

 private:
  AdvertFault judged(const Parent& parent, const Router* router, AdvertFault fault) const;
  bool counted(const AdvertKey& key, const Router* router, AdvertFault fault);
  bool acceptsSource(const Parent& parent, const Lirex::InetAddr& source) const;
  void heard(const AdvertKey& key);
  void joinParents();
  void changed();
  void expireAt(double due);

  Loop::EventLoop& loop_;
  std::function<void()> onChange_;
  AdvertSocket socket_;
  AdvertSocket socket6_;
  Parents parents_;
  std::set<std::pair<U32, Lirex::AddrFamily>> listened_;  // parent and family with a router
  Memberships memberships_;
  Memberships memberships6_;
  Speakers speakers_;
  std::map<AdvertKey, RouterErrors> errors_;
  GlobalErrors global_;
  Advert advert_;                                // the packet being read, its addresses' room kept
  std::vector<Lirex::InetAddr> heardAddresses_;  // the same, compared with a router's
  std::optional<double> lastTold_;
  std::optional<Loop::EventLoop::TimerId> tell_;    // a change waiting for its turn
  std::optional<Loop::EventLoop::TimerId> expiry_;  // the next master to fall silent
  double expiryDue_ = 0;
};

}  // namespace Sources
