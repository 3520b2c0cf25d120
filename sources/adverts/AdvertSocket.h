// SPDX-License-Identifier: Apache-2.0
#pragma once
// One raw socket for the VRRP advertisements (IP protocol 112) of one family, read in batches.
//
// The other routers' masters advertise all the time (255 routers at 1 s: over a hundred a
// second), and waking the loop for each was most of the agent's idle cost. So after a batch the
// descriptor rests unwatched for kRestSeconds while what arrives queues in the socket's buffer,
// then the queue is read at once: a few wake-ups a second instead of one per advertisement. A
// batch is bounded, so that a flood costs a bounded share of the loop between two SNMP
// requests; one that filled its bound reads on at the loop's next turn. The buffer holds what a
// flood of forged advertisements (several thousand a second) queues while the socket rests, so
// that the real ones among them are not lost.
//
// It hears the group on every interface the host joined it on (IP_MULTICAST_ALL and
// IPV6_MULTICAST_ALL, on by default); the joins are Memberships'.
#include <array>
#include <functional>
#include <optional>
#include <string_view>

#include "kiv/Types.h"
#include "lirex/InetAddr.h"
#include "platform/Loop/EventLoop.h"
#include "sources/adverts/Advert.h"

namespace Sources {

class AdvertSocket {
 public:
  // A packet as Advert.h reads it (IPv6: the header written back in front), and the ifIndex it
  // arrived on (0 when the kernel did not say).
  using OnPacket = std::function<void(U32 ifIndex, std::string_view packet)>;

  static constexpr double kRestSeconds = 0.1;
  static constexpr std::size_t kBatch = 256;
  // Asked for; the kernel doubles it and caps it at twice net.core.rmem_max (Debian: 416 KiB),
  // about 500 small advertisements either way.
  static constexpr int kBufferBytes = 256 * 1024;

  AdvertSocket(Loop::EventLoop& loop, Lirex::AddrFamily family, OnPacket onPacket);
  ~AdvertSocket();
  AdvertSocket(const AdvertSocket&) = delete;
  AdvertSocket& operator=(const AdvertSocket&) = delete;

  // Opens the socket (needs CAP_NET_RAW) and starts reading; errno when it cannot.
  int open();
  bool isOpen() const { return fd_ >= 0; }
  void close();

 private:
  void watch();
  // Reads a batch, then rests or watches.
  void batch(bool watched);
  std::size_t drain();
  bool readOne();

  Loop::EventLoop& loop_;
  Lirex::AddrFamily family_;
  OnPacket onPacket_;
  int fd_ = -1;
  std::optional<Loop::EventLoop::TimerId> rest_;
  std::array<char, kMaxAdvertSize> packet_{};
};

}  // namespace Sources
