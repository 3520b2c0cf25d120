#pragma once
// Listens to the VRRP advertisements on the wire (IP protocol 112, group 224.0.0.18) and keeps
// the address of each router's current master, which no daemon reports on a backup. A router
// never sees its own advertisements this way, only the other routers'.
#include <functional>
#include <map>
#include <set>
#include <utility>

#include "kiv/Types.h"
#include "lirex/IpAddr.h"
#include "platform/Loop/EventLoop.h"

namespace Sources {

class AdvertListener {
 public:
  using Key = std::pair<U32, U32>;  // ifIndex of the interface it arrived on, vrid

  AdvertListener(Loop::EventLoop& loop, std::function<void()> onChange);
  ~AdvertListener();
  AdvertListener(const AdvertListener&) = delete;
  AdvertListener& operator=(const AdvertListener&) = delete;

  // Kiv::RangeException with the reason when the socket cannot be opened (no CAP_NET_RAW).
  void start();
  // Joins the group on these interfaces (the routers' parents) and leaves it on the others;
  // adverts arriving on any other interface (a macvlan's copy) are ignored.
  void interfacesAre(const std::set<U32>& ifIndexes);
  const std::map<Key, Lirex::IpAddr>& masters() const { return masters_; }

 private:
  void read();
  Loop::EventLoop& loop_;
  std::function<void()> onChange_;
  int fd_ = -1;
  std::set<U32> joined_;
  std::map<Key, Lirex::IpAddr> masters_;
};

}  // namespace Sources
