#pragma once
// Listens to the VRRP advertisements on the wire and keeps the address of each router's current
// master, which no daemon reports on a backup. A router never sees its own advertisements this
// way, only the other routers'.
//
// One raw socket (IP protocol 112), opened at start: the only thing that needs CAP_NET_RAW. It
// hears the group on every interface the host joined it on (IP_MULTICAST_ALL); the joins are
// Memberships', and what arrives on any other interface (a macvlan's copy) is dropped. The
// segment is not trusted: the receive rules (Advert.h), a source in the parent's subnet, a
// bounded read per loop turn and a bounded rate of changes told, so that a flood of forged
// advertisements neither moves a master nor keeps the agent from answering.
#include <functional>
#include <map>
#include <optional>
#include <string_view>

#include "kiv/Types.h"
#include "lirex/IpAddr.h"
#include "lirex/IpAddrWithMask.h"
#include "platform/Loop/EventLoop.h"
#include "sources/adverts/AdvertView.h"
#include "sources/adverts/Memberships.h"
#include "sources/adverts/Speakers.h"

namespace Sources {

class AdvertListener {
 public:
  using Key = Speakers::Key;
  // The interfaces to hear by ifIndex, each with its primary address and prefix.
  using Parents = std::map<U32, Lirex::IpAddrWithMask>;

  static constexpr std::size_t kReadsPerTurn = 64;  // the loop calls again while more wait
  static constexpr double kChangeGap = 0.25;        // seconds between two changes told

  AdvertListener(Loop::EventLoop& loop, std::function<void()> onChange);
  ~AdvertListener();
  AdvertListener(const AdvertListener&) = delete;
  AdvertListener& operator=(const AdvertListener&) = delete;

  // Kiv::RangeException with the reason when the socket cannot be opened (no CAP_NET_RAW).
  void start();
  // Hears these interfaces from now on; masters heard elsewhere, or from outside the subnet now
  // given, are forgotten at once (the caller reads masters() next, no onChange for it).
  void interfacesAre(const Parents& parents);
  // One packet as the socket read it on `ifIndex`; what start()'s socket feeds, and tests.
  AdvertFault received(U32 ifIndex, std::string_view packet);
  const std::map<Key, Lirex::IpAddr>& masters() const { return speakers_.masters(); }
  // What the listener knows now, for a snapshot.
  AdvertView view() const;

 private:
  void joinParents();
  void read();
  void changed();
  void expireAt(double due);

  Loop::EventLoop& loop_;
  std::function<void()> onChange_;
  int fd_ = -1;
  Parents parents_;
  Memberships memberships_;
  Speakers speakers_;
  std::optional<double> lastTold_;
  std::optional<Loop::EventLoop::TimerId> tell_;    // a change waiting for its turn
  std::optional<Loop::EventLoop::TimerId> expiry_;  // the next master to fall silent
  double expiryDue_ = 0;
};

}  // namespace Sources
