// SPDX-License-Identifier: Apache-2.0
#pragma once
// Follows FRR's vrrpd and the kernel, and publishes what they say as state snapshots.
//
// vrrpd flips the protodown flag of a router's macvlan (through zebra) on every transition into
// or out of master, after it changed state itself: the kernel's event for that flip is the
// earliest sign of a failover, and vrrpd is asked about the routers it names at once. Events
// that arrive while vrrpd is being asked are collected and asked about in one query once it
// answered. A carrier change that follows a flip, or an address change, asks nothing.
//
// What makes no event (a backup shut down, a priority or address changed) the poll catches: all
// routers (`show vrrp json`) once a second, and never more than a twentieth of vrrpd's time,
// since composing that answer costs vrrpd time that grows with its routers (a third of a second
// for 255 on a loaded machine) on the thread that runs its own timers. An answer that equals the
// last one publishes nothing. Configured priorities are read again only when that answer shows
// a configuration change, because every read of vrrpd's operational data writes a line to its
// log.
//
// vrrpd is trusted to say when its routers change, and nothing else is: an answer that is slow
// to come (a loaded vrrpd, or one stopped for a while) keeps the last state, said once in the
// log, and is awaited on the same connection; an answer that cannot be read keeps it too. Only
// a vrrpd that is gone (its socket refuses, or it closed the connection) makes its routers read
// initialize, within a few milliseconds, until it answers again.
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <vector>

#include "kiv/Types.h"
#include "platform/Loop/EventLoop.h"
#include "sources/adverts/AdvertListener.h"
#include "sources/frr/FrrSnapshot.h"
#include "sources/frr/VtyClient.h"
#include "sources/kernel/KernelLinks.h"
#include "zentra/StateDocument.h"

namespace Sources {

class FrrFeed {
 public:
  using Publish = std::function<void(const Zentra::StateDocument&)>;
  // One line for the operator's log: a warning, or a note that things are well again.
  using Log = std::function<void(bool warning, const Kiv::String8& line)>;

  static constexpr double kPollSeconds = 1.0;
  static constexpr double kPollShare = 20;  // poll gap per second of vrrpd's last answer
  // A stalled answer says nothing about vrrpd's own pace: it stretches the gap this far at most.
  static constexpr double kMaxPollSeconds = 30.0;
  // An answer this late is logged; one this late gives up the connection for a new one.
  static constexpr double kSlowSeconds = 3.0;
  static constexpr double kTimeoutSeconds = 60.0;
  // More routers changed at once than this are read in one query of all.
  static constexpr std::size_t kRoutersAskedAlone = 8;

  FrrFeed(Loop::EventLoop& loop, Kiv::String8 vtyDirectory, Publish publish, Log log);
  // The same on another rtnetlink than the kernel's (a test's).
  FrrFeed(Loop::EventLoop& loop, Kiv::String8 vtyDirectory, Publish publish, Log log,
          std::unique_ptr<Rtnetlink> netlink);
  ~FrrFeed();
  FrrFeed(const FrrFeed&) = delete;
  FrrFeed& operator=(const FrrFeed&) = delete;

  // Reads the kernel and vrrpd once and publishes, then follows both. Kiv::RangeException when
  // rtnetlink cannot be opened; vrrpd not answering is only logged.
  void start();
  // Asks vrrpd now (e.g. on SIGHUP), its configuration included.
  void refresh();

 private:
  enum class Vrrpd { answers, slow, unreadable, gone };
  struct Round;

  void linksChanged(const std::set<RouterKey>& vrrpLinks, bool lost);
  void query(bool configuration);
  void next();
  void askAll(bool configuration);
  void askChanged();
  void ask(const Kiv::String8& command, VtyClient::OnAnswer onAnswer,
           VtyClient::OnFailure onFailure);
  void answered(std::vector<VrrpdRouter> routers, bool reconfigured, double started);
  void failed(const VtyError& error);
  void unreadable(const Kiv::String8& reason);
  void gone(const Kiv::String8& reason);
  void slow();
  void schedulePoll(double seconds);
  // `fromVrrpd` false: the states changed are the source's own (vrrpd is gone).
  void routersChanged(bool fromVrrpd = true);
  void publish();

  Loop::EventLoop& loop_;
  Publish publish_;
  Log log_;
  VtyClient vty_;
  KernelLinks kernel_;
  AdvertListener adverts_;
  bool listening_ = false;
  Vrrpd vrrpd_ = Vrrpd::answers;
  bool configurationUnread_ = false;
  // What was asked for while vrrpd was busy: it follows, so that no change is missed.
  bool wantAll_ = false;
  bool wantConfiguration_ = false;
  // Routers that moved with a new priority, held back until their configured priority is read:
  // a new master's reason compares the priority it was given with the one it heard.
  bool heldBack_ = false;
  std::set<RouterKey> changed_;  // routers whose macvlan flipped, not yet asked about
  std::optional<Loop::EventLoop::TimerId> poll_;
  FrrInputs inputs_;
  std::optional<Zentra::StateDocument> published_;
};

}  // namespace Sources
