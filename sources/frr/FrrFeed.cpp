// SPDX-License-Identifier: Apache-2.0
#include "sources/frr/FrrFeed.h"

#include <algorithm>
#include <iomanip>
#include <memory>
#include <numeric>
#include <set>
#include <utility>

#include "kiv/Clock.h"
#include "kiv/Trace.h"
#include "sources/frr/VrrpdReply.h"

namespace Sources {
namespace {

constexpr const char* kShowVrrp = "show vrrp json";
constexpr const char* kShowConfig = "show yang operational-data /frr-interface:lib with-config";

const Kiv::TraceHandle& trace() {
  static const Kiv::TraceHandle& handle = Kiv::traceHandle("Sources");
  return handle;
}

// What `show vrrp json` shows of a router's configuration: the configured priority can only
// have changed when one of these did (the effective one follows it, except for an owner, whose
// addresses tell).
bool sameConfiguration(const VrrpdInstance& x, const VrrpdInstance& y) {
  return x.effectivePriority == y.effectivePriority && x.addresses == y.addresses;
}
bool sameConfiguration(const VrrpdRouter& x, const VrrpdRouter& y) {
  return x.parent == y.parent && x.vrid == y.vrid && x.version == y.version &&
         x.shutdown == y.shutdown && sameConfiguration(x.v4, y.v4) && sameConfiguration(x.v6, y.v6);
}
bool sameConfiguration(const std::vector<VrrpdRouter>& a, const std::vector<VrrpdRouter>& b) {
  return std::equal(
      a.begin(), a.end(), b.begin(), b.end(),
      [](const VrrpdRouter& x, const VrrpdRouter& y) { return sameConfiguration(x, y); });
}

// The routers' instances (IPv4 and IPv6) that are master.
std::size_t masters(const std::vector<VrrpdRouter>& routers) {
  return std::accumulate(routers.begin(), routers.end(), std::size_t{0},
                         [](std::size_t n, const VrrpdRouter& r) {
                           return n + (r.v4.state == Routing::Fhrp::FhrpState::master) +
                                  (r.v6.state == Routing::Fhrp::FhrpState::master);
                         });
}

// The routers the advertisement listener hears, on their parents: what their advertisements must
// say, and the parent's subnet, where IPv4 ones may come from.
AdvertListener::Parents listenedParents(const FrrInputs& in) {
  AdvertListener::Parents parents;
  for (const VrrpdRouter& r : in.routers) {
    auto index = in.kernel.ifIndex.find(r.parent);
    if (index == in.kernel.ifIndex.end()) continue;
    AdvertListener::Parent& parent = parents[index->second];
    if (auto primary = in.kernel.primary.find(r.parent); primary != in.kernel.primary.end()) {
      parent.subnet = primary->second;
    }
    for (Lirex::AddrFamily family : {Lirex::AddrFamily::ipv4, Lirex::AddrFamily::ipv6}) {
      if (!r.shows(family)) continue;
      AdvertListener::Router& router = parent.routers[{r.vrid, family}];
      router.version = r.version;
      router.intervalCentiseconds = (r.intervalMs + 5) / 10;
      router.addresses = r.instance(family).addresses;
    }
  }
  return parents;
}

}  // namespace

// The routers asked about one by one, together: done once each has its answer or failure.
struct FrrFeed::Round {
  std::size_t left = 0;
  bool updated = false;
  bool reconfigured = false;
  bool askAll = false;  // vrrpd could not tell about one alone (e.g. it no longer has it)
  bool broken = false;  // the connection failed, and failed() took over
};

FrrFeed::FrrFeed(Loop::EventLoop& loop, Kiv::String8 vtyDirectory, Publish publish, Log log)
    : FrrFeed(loop, std::move(vtyDirectory), std::move(publish), std::move(log), nullptr) {}

FrrFeed::FrrFeed(Loop::EventLoop& loop, Kiv::String8 vtyDirectory, Publish onSnapshot, Log log,
                 std::unique_ptr<Rtnetlink> netlink)
    : loop_(loop),
      publish_(std::move(onSnapshot)),
      log_(std::move(log)),
      // A hang-up with nothing asked is vrrpd exiting or restarting: the next query tells which.
      vty_(loop, vtyDirectory + "/vrrpd.vty",
           VtyClient::Watch{[this] { slow(); }, [this] { query(false); }}, kSlowSeconds,
           kTimeoutSeconds),
      kernel_(
          loop,
          [this](const std::set<RouterKey>& vrrpLinks, bool lost) {
            linksChanged(vrrpLinks, lost);
          },
          log_, std::move(netlink)),
      adverts_(loop, [this] { this->publish(); }) {}

FrrFeed::~FrrFeed() {
  if (poll_) loop_.timerDel(*poll_);
}

void FrrFeed::start() {
  kernel_.start();
  inputs_.kernel = kernel_.view();
  // The poll's own period: what a slow vrrpd stretches it to changes from one answer to the next,
  // and is no change of the routers to publish.
  inputs_.refreshMs = static_cast<U32>(kPollSeconds * 1000);
  try {
    adverts_.start();
    listening_ = true;
  } catch (const Kiv::RangeException& e) {
    log_(true, "cannot listen to VRRP advertisements (" + e.message() +
                   "; it needs CAP_NET_RAW): a backup's master address reads zero, and the "
                   "VRRPv3-MIB's error counters 0");
  }
  publish();
  query(true);
}

void FrrFeed::refresh() {
  query(true);
}

void FrrFeed::linksChanged(const std::set<RouterKey>& vrrpLinks, bool lost) {
  if (kernel_.view() != inputs_.kernel) {
    inputs_.kernel = kernel_.view();
    publish();
  }
  changed_.insert(vrrpLinks.begin(), vrrpLinks.end());
  wantAll_ |= lost;
  next();
}

void FrrFeed::query(bool configuration) {
  wantAll_ = true;
  wantConfiguration_ |= configuration;
  next();
}

void FrrFeed::next() {
  // One query at a time: what comes up meanwhile waits for its answer, and is asked in one go.
  if (vty_.busy()) return;
  if (wantAll_ || wantConfiguration_) {
    wantAll_ = false;
    changed_.clear();
    return askAll(std::exchange(wantConfiguration_, false));
  }
  if (!changed_.empty()) askChanged();
}

void FrrFeed::ask(const Kiv::String8& command, VtyClient::OnAnswer onAnswer,
                  VtyClient::OnFailure onFailure) {
  KIV_TRACE(trace(), 2, "asking vrrpd: " << command);
  vty_.query(command, std::move(onAnswer), std::move(onFailure));
}

void FrrFeed::askChanged() {
  std::set<RouterKey> changed = std::exchange(changed_, {});
  bool known = std::all_of(changed.begin(), changed.end(), [this](const RouterKey& key) {
    return std::any_of(inputs_.routers.begin(), inputs_.routers.end(), [&](const VrrpdRouter& r) {
      return r.parent == key.first && r.vrid == key.second;
    });
  });
  if (!known || changed.size() > kRoutersAskedAlone || vrrpd_ != Vrrpd::answers) {
    return askAll(false);
  }
  // Only the routers that moved: with hundreds of routers the whole answer takes vrrpd a
  // hundred times longer to compose.
  auto round = std::make_shared<Round>();
  round->left = changed.size();
  auto done = [this, round] {
    if (--round->left > 0 || round->broken) return;
    // A priority change moves routers too: its configured value is read at once, and they are
    // published with it.
    heldBack_ |= round->updated && round->reconfigured;
    if (round->updated && !round->reconfigured) routersChanged();
    wantAll_ |= round->askAll;
    wantConfiguration_ |= round->reconfigured;
    next();
  };
  for (const RouterKey& key : changed) {
    ask(
        "show vrrp interface " + key.first.name() + " " + std::to_string(key.second) + " json",
        [this, round, done](std::string_view text) {
          try {
            for (VrrpdRouter& fresh : parseShowVrrp(text)) {
              for (VrrpdRouter& r : inputs_.routers) {
                if (r.parent != fresh.parent || r.vrid != fresh.vrid || r == fresh) continue;
                round->reconfigured |= !sameConfiguration(r, fresh);
                round->updated = true;
                r = std::move(fresh);
              }
            }
          } catch (const VrrpdReplyError&) {
            round->askAll = true;
          }
          done();
        },
        [this, round, done](const VtyError& e) {
          if (e.cause() == VtyError::Cause::answer) {
            round->askAll = true;
          } else if (!std::exchange(round->broken, true)) {
            failed(e);
          }
          done();
        });
  }
}

void FrrFeed::askAll(bool configuration) {
  double started = loop_.now();
  auto onFailure = [this](const VtyError& e) { failed(e); };
  ask(
      kShowVrrp,
      [this, configuration, started](std::string_view text) {
        std::vector<VrrpdRouter> routers;
        try {
          routers = parseShowVrrp(text);
        } catch (const VrrpdReplyError& e) {
          return unreadable(e.message());
        }
        // After vrrpd was gone its configuration may be another one altogether.
        if (!configuration && vrrpd_ != Vrrpd::gone &&
            sameConfiguration(routers, inputs_.routers)) {
          return answered(std::move(routers), false, started);
        }
        auto read = std::make_shared<std::vector<VrrpdRouter>>(std::move(routers));
        // Without its configuration (another FRR may not know the command) the routers still
        // show, each at the priority it runs at.
        auto withoutConfiguration = [this, read, started](const Kiv::String8& reason) {
          if (!std::exchange(configurationUnread_, true)) {
            log_(true, "vrrpd's configuration cannot be read (" + reason +
                           "); each router's priority reads as the one it runs at");
          }
          answered(std::move(*read), false, started);
        };
        ask(
            kShowConfig,
            [this, read, started, withoutConfiguration](std::string_view text) {
              std::map<RouterKey, U32> priorities;
              try {
                priorities = parseConfiguredPriorities(text);
              } catch (const VrrpdReplyError& e) {
                return withoutConfiguration(e.message());
              }
              configurationUnread_ = false;
              bool reconfigured = priorities != inputs_.configuredPriority;
              inputs_.configuredPriority = std::move(priorities);
              answered(std::move(*read), reconfigured, started);
            },
            [this, withoutConfiguration](const VtyError& e) {
              if (e.cause() != VtyError::Cause::answer) return failed(e);
              withoutConfiguration(e.message());
            });
      },
      onFailure);
}

void FrrFeed::answered(std::vector<VrrpdRouter> routers, bool reconfigured, double started) {
  if (vrrpd_ != Vrrpd::answers) log_(false, "vrrpd answers again on " + vty_.socketPath());
  vrrpd_ = Vrrpd::answers;
  // The time the answer took is vrrpd's own pace, or a stall's (a stopped vrrpd), which must not
  // keep the poll away for long.
  const double gap =
      std::clamp(kPollShare * (loop_.now() - started), kPollSeconds, kMaxPollSeconds);
  if (std::exchange(heldBack_, false) || reconfigured || routers != inputs_.routers) {
    inputs_.routers = std::move(routers);
    routersChanged();
  }
  schedulePoll(gap);
  next();
}

void FrrFeed::failed(const VtyError& error) {
  switch (error.cause()) {
    case VtyError::Cause::gone:
      return gone(error.message());
    case VtyError::Cause::late:
      // The connection is given up, not vrrpd: a new one asks again, the routers as they were.
      return query(true);
    case VtyError::Cause::answer:
      return unreadable(error.message());
  }
}

void FrrFeed::slow() {
  if (vrrpd_ != Vrrpd::answers) return;
  vrrpd_ = Vrrpd::slow;
  log_(true, "vrrpd has not answered for " + std::to_string(static_cast<int>(kSlowSeconds)) +
                 " s; its routers keep their last known state until it does");
}

void FrrFeed::unreadable(const Kiv::String8& reason) {
  if (vrrpd_ == Vrrpd::answers || vrrpd_ == Vrrpd::slow) {
    log_(true, "vrrpd's answer cannot be read (" + reason +
                   "); its routers keep their last known state until it can");
    vrrpd_ = Vrrpd::unreadable;
  }
  schedulePoll(kPollSeconds);
}

void FrrFeed::gone(const Kiv::String8& reason) {
  if (vrrpd_ != Vrrpd::gone) {
    log_(true, "vrrpd does not answer (" + reason + "); its routers read initialize until it does");
  }
  vrrpd_ = Vrrpd::gone;
  vty_.close();
  wantAll_ = wantConfiguration_ = false;
  changed_.clear();
  // The routers vrrpd last reported stay, none of them running.
  bool changed = false;
  for (VrrpdRouter& r : inputs_.routers) {
    for (Lirex::AddrFamily family : {Lirex::AddrFamily::ipv4, Lirex::AddrFamily::ipv6}) {
      VrrpdInstance& i = r.instance(family);
      const Lirex::InetAddr none = Lirex::InetAddr::zero(family);
      changed |= i.state != Routing::Fhrp::FhrpState::initialize || i.primaryAddress != none;
      i.state = Routing::Fhrp::FhrpState::initialize;
      i.primaryAddress = none;
    }
  }
  // Not a shutdown vrrpd made: whether it sent anything on its way out is not known.
  if (changed) routersChanged(false);
  schedulePoll(kPollSeconds);
}

void FrrFeed::schedulePoll(double seconds) {
  if (poll_) loop_.timerDel(*poll_);
  poll_ = loop_.timerIs(seconds, false, "vrrpd poll", [this] {
    poll_.reset();
    query(false);
  });
}

void FrrFeed::routersChanged(bool fromVrrpd) {
  // The records pass through a backup state vrrpd went through unseen, so that an entry into
  // master is told from backup, as it was made.
  if (auto between = fromVrrpd ? withSkippedBackups(inputs_.rows, inputs_.routers) : std::nullopt) {
    std::swap(*between, inputs_.routers);
    trackRows(inputs_.rows, inputs_.routers, Kiv::now());
    publish();
    std::swap(*between, inputs_.routers);
  }
  trackRows(inputs_.rows, inputs_.routers, Kiv::now(), fromVrrpd);
  publish();
}

void FrrFeed::publish() {
  if (listening_) {
    adverts_.interfacesAre(listenedParents(inputs_));
    inputs_.adverts = adverts_.view();
  }
  Zentra::StateDocument snapshot = frrSnapshot(inputs_);
  if (published_ && *published_ == snapshot) return;
  publish_(snapshot);
  KIV_TRACE(trace(), 1,
            "published at " << std::fixed << std::setprecision(6) << Kiv::now() << ": "
                            << inputs_.routers.size() << " routers from vrrpd, "
                            << masters(inputs_.routers) << " masters");
  published_ = std::move(snapshot);
}

}  // namespace Sources
