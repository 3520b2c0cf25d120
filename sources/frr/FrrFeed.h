#pragma once
// Follows FRR's vrrpd and the kernel, and publishes what they say as state snapshots.
//
// vrrpd is asked about a router a few milliseconds after the kernel reports a change on its
// VRRP macvlan (vrrpd has zebra flip its protodown on every transition into or out of master),
// and for all of them (`show vrrp json`) about once a second for what makes no event. Composing
// that answer costs vrrpd time that grows with its routers (a third of a second for 255 on a loaded
// machine), and vrrpd runs its own timers on the same thread: the poll waits at least 20 times as
// long as the last answer took, so it never takes more than a twentieth of vrrpd. Its configured
// priorities are read again only when that answer shows a configuration change, because every read
// of its operational data writes a line to vrrpd's log. When vrrpd does not answer, its routers
// read initialize until it does again.
#include <functional>
#include <map>
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
  static constexpr double kDebounceSeconds = 0.003;
  static constexpr double kPollShare = 20;  // poll gap per second of vrrpd's last answer
  // More routers changed at once than this are read in one query of all.
  static constexpr std::size_t kRoutersAskedAlone = 8;

  FrrFeed(Loop::EventLoop& loop, Kiv::String8 vtyDirectory, Publish publish, Log log);
  ~FrrFeed();
  FrrFeed(const FrrFeed&) = delete;
  FrrFeed& operator=(const FrrFeed&) = delete;

  // Reads the kernel and vrrpd once and publishes, then follows both. Kiv::RangeException when
  // rtnetlink cannot be opened; vrrpd not answering is only logged.
  void start();
  // Asks vrrpd now (e.g. on SIGHUP), its configuration included.
  void refresh();

 private:
  void query(bool configuration);
  void queryChanged();
  void answered(std::vector<VrrpdRouter> routers, double started);
  void failed(const Kiv::String8& reason);
  void schedulePoll(double seconds);
  void publish();
  void debounce();

  Loop::EventLoop& loop_;
  Publish publish_;
  Log log_;
  VtyClient vty_;
  KernelLinks kernel_;
  AdvertListener adverts_;
  bool listening_ = false;
  bool vrrpdAnswers_ = true;
  // A query asked for while one runs: it follows, so that no change is missed.
  bool again_ = false;
  bool againConfiguration_ = false;
  std::set<RouterKey> changed_;  // routers whose macvlan changed, until the debounce ends
  bool changedAll_ = false;
  std::optional<Loop::EventLoop::TimerId> debounce_;
  std::optional<Loop::EventLoop::TimerId> poll_;
  FrrInputs inputs_;
  std::optional<Zentra::StateDocument> published_;
};

}  // namespace Sources
