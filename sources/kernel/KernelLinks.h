// SPDX-License-Identifier: Apache-2.0
#pragma once
// The kernel's interfaces through rtnetlink: name, ifIndex, MAC, each interface's primary IPv4
// address (the first that is not secondary) with its mask and its IPv6 link-local address. A full
// dump at start and whenever the kernel dropped events (ENOBUFS), events in between.
//
// A dump is read into a table of its own and takes over only once both of its halves (links,
// then addresses) are complete: a dump that fails (the kernel interrupts one when interfaces
// change meanwhile, which a burst of events makes likely) leaves the last view as it was, and is
// tried again shortly. Events queued before a dump are dropped unread: the dump already holds
// what they say, and applied after it they would undo newer state.
#include <functional>
#include <memory>
#include <optional>
#include <set>

#include "kiv/Types.h"
#include "platform/Loop/EventLoop.h"
#include "sources/frr/FrrSnapshot.h"
#include "sources/kernel/LinkTable.h"
#include "sources/kernel/Rtnetlink.h"

namespace Sources {

class KernelLinks {
 public:
  // After each batch of events: the routers whose VRRP link came, went or flipped protodown
  // (LinkTable::takeVrrpChanges), and whether events were lost, so that any router may have
  // changed.
  using OnChange = std::function<void(const std::set<RouterKey>& vrrpLinks, bool lost)>;
  using Log = Rtnetlink::Log;

  static constexpr double kRetrySeconds = 0.1;  // after a failed dump
  // Datagrams read in one turn of the loop; more wait for the next turn, so that requests are
  // answered in between.
  static constexpr int kDatagramsPerTurn = 256;

  // On the kernel's rtnetlink (opened by start()), or on `netlink`.
  KernelLinks(Loop::EventLoop& loop, OnChange onChange, Log log,
              std::unique_ptr<Rtnetlink> netlink = nullptr);
  ~KernelLinks();
  KernelLinks(const KernelLinks&) = delete;
  KernelLinks& operator=(const KernelLinks&) = delete;

  // Subscribes, then dumps; Kiv::RangeException when rtnetlink cannot be opened.
  void start();
  const KernelView& view() const { return view_; }

 private:
  bool resync();
  void readEvents();

  Loop::EventLoop& loop_;
  OnChange onChange_;
  Log log_;
  std::unique_ptr<Rtnetlink> netlink_;
  LinkTable table_;
  KernelView view_;
  bool resyncFailed_ = false;
  std::optional<Loop::EventLoop::TimerId> retry_;
};

}  // namespace Sources
