#include "sources/frr/FrrFeed.h"

#include <algorithm>
#include <iomanip>
#include <memory>
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
bool sameConfiguration(const VrrpdRouter& x, const VrrpdRouter& y) {
  return x.parent == y.parent && x.vrid == y.vrid && x.version == y.version &&
         x.shutdown == y.shutdown && x.effectivePriority == y.effectivePriority &&
         x.addresses == y.addresses;
}
bool sameConfiguration(const std::vector<VrrpdRouter>& a, const std::vector<VrrpdRouter>& b) {
  return std::equal(
      a.begin(), a.end(), b.begin(), b.end(),
      [](const VrrpdRouter& x, const VrrpdRouter& y) { return sameConfiguration(x, y); });
}

}  // namespace

FrrFeed::FrrFeed(Loop::EventLoop& loop, Kiv::String8 vtyDirectory, Publish onSnapshot, Log log)
    : loop_(loop),
      publish_(std::move(onSnapshot)),
      log_(std::move(log)),
      vty_(loop, vtyDirectory + "/vrrpd.vty"),
      kernel_(loop,
              [this](const std::set<RouterKey>& vrrpLinks, bool lost) {
                changed_.insert(vrrpLinks.begin(), vrrpLinks.end());
                changedAll_ |= lost;
                if (changed_.empty() && !changedAll_) return this->publish();
                debounce();
              }),
      adverts_(loop, [this] { this->publish(); }) {}

FrrFeed::~FrrFeed() {
  if (debounce_) loop_.timerDel(*debounce_);
  if (poll_) loop_.timerDel(*poll_);
}

void FrrFeed::start() {
  kernel_.start();
  try {
    adverts_.start();
    listening_ = true;
  } catch (const Kiv::RangeException& e) {
    log_(true, "cannot listen to VRRP advertisements (" + e.message() +
                   "; it needs CAP_NET_RAW): a backup's master address reads 0.0.0.0");
  }
  publish();
  query(true);
}

void FrrFeed::refresh() {
  query(true);
}

void FrrFeed::debounce() {
  // A failover flips several macvlans within a millisecond or two: one query for all of them.
  if (debounce_) return;
  debounce_ = loop_.timerIs(kDebounceSeconds, false, "FRR link debounce", [this] {
    debounce_.reset();
    queryChanged();
  });
}

void FrrFeed::queryChanged() {
  std::set<RouterKey> changed = std::exchange(changed_, {});
  bool known = std::all_of(changed.begin(), changed.end(), [this](const RouterKey& key) {
    return std::any_of(inputs_.routers.begin(), inputs_.routers.end(), [&](const VrrpdRouter& r) {
      return r.parent == key.first && r.vrid == key.second;
    });
  });
  if (std::exchange(changedAll_, false) || !known || changed.size() > kRoutersAskedAlone ||
      vty_.busy() || !vrrpdAnswers_) {
    return query(false);
  }
  // Only the routers that moved: with hundreds of routers the whole answer takes vrrpd a
  // hundred times longer to compose.
  auto left = std::make_shared<std::size_t>(changed.size());
  auto reconfigured = std::make_shared<bool>(false);
  for (const RouterKey& key : changed) {
    vty_.query(
        "show vrrp interface " + key.first.name() + " " + std::to_string(key.second) + " json",
        [this, left, reconfigured](std::string_view text) {
          try {
            for (VrrpdRouter& fresh : parseShowVrrp(text)) {
              for (VrrpdRouter& r : inputs_.routers) {
                if (r.parent != fresh.parent || r.vrid != fresh.vrid) continue;
                *reconfigured |= !sameConfiguration(r, fresh);
                r = std::move(fresh);
              }
            }
          } catch (const VrrpdReplyError& e) {
            return failed(e.message());
          }
          if (--*left > 0) return;
          trackUpSince(inputs_.upSince, inputs_.routers, Kiv::now());
          publish();
          // A priority change moves routers too: its configured value is read at once.
          if (*reconfigured) query(true);
        },
        [this](const VtyError& e) { failed(e.message()); });
  }
}

void FrrFeed::schedulePoll(double seconds) {
  if (poll_) loop_.timerDel(*poll_);
  poll_ = loop_.timerIs(seconds, false, "vrrpd poll", [this] {
    poll_.reset();
    query(false);
  });
}

void FrrFeed::query(bool configuration) {
  if (vty_.busy()) {
    again_ = true;
    againConfiguration_ |= configuration;
    return;
  }
  double started = loop_.now();
  auto onFailure = [this](const VtyError& e) { failed(e.message()); };
  vty_.query(
      kShowVrrp,
      [this, configuration, started, onFailure](std::string_view text) {
        std::vector<VrrpdRouter> routers;
        try {
          routers = parseShowVrrp(text);
        } catch (const VrrpdReplyError& e) {
          return failed(e.message());
        }
        if (!configuration && vrrpdAnswers_ && sameConfiguration(routers, inputs_.routers)) {
          return answered(std::move(routers), started);
        }
        auto read = std::make_shared<std::vector<VrrpdRouter>>(std::move(routers));
        vty_.query(
            kShowConfig,
            [this, read, started](std::string_view text) {
              try {
                inputs_.configuredPriority = parseConfiguredPriorities(text);
              } catch (const VrrpdReplyError& e) {
                return failed(e.message());
              }
              answered(std::move(*read), started);
            },
            onFailure);
      },
      onFailure);
}

void FrrFeed::answered(std::vector<VrrpdRouter> routers, double started) {
  inputs_.routers = std::move(routers);
  if (!vrrpdAnswers_) log_(false, "vrrpd answers again on " + vty_.socketPath());
  vrrpdAnswers_ = true;
  trackUpSince(inputs_.upSince, inputs_.routers, Kiv::now());
  publish();
  schedulePoll(std::max(kPollSeconds, kPollShare * (loop_.now() - started)));
  if (again_) {
    again_ = false;
    query(std::exchange(againConfiguration_, false));
  }
}

void FrrFeed::failed(const Kiv::String8& reason) {
  if (vrrpdAnswers_) {
    log_(true, "vrrpd does not answer (" + reason + "); its routers read initialize until it does");
  }
  vrrpdAnswers_ = false;
  vty_.close();
  again_ = againConfiguration_ = false;
  // The routers vrrpd last reported stay, none of them running.
  for (VrrpdRouter& r : inputs_.routers) {
    r.state = Routing::Fhrp::FhrpState::initialize;
    r.primaryAddress = Lirex::IpAddr();
  }
  trackUpSince(inputs_.upSince, inputs_.routers, Kiv::now());
  publish();
  schedulePoll(kPollSeconds);
}
void FrrFeed::publish() {
  inputs_.kernel = kernel_.view();
  AdvertListener::Parents parents;  // a parent's subnet is where its adverts may come from
  for (const VrrpdRouter& r : inputs_.routers) {
    auto it = inputs_.kernel.ifIndex.find(r.parent);
    auto primary = inputs_.kernel.primary.find(r.parent);
    if (it != inputs_.kernel.ifIndex.end() && primary != inputs_.kernel.primary.end()) {
      parents[it->second] = primary->second;
    }
  }
  if (listening_) {
    adverts_.interfacesAre(parents);
    inputs_.advertisedMaster.clear();
    for (const VrrpdRouter& r : inputs_.routers) {
      auto index = inputs_.kernel.ifIndex.find(r.parent);
      if (index == inputs_.kernel.ifIndex.end()) continue;
      auto master = adverts_.masters().find({index->second, r.vrid});
      if (master != adverts_.masters().end()) {
        inputs_.advertisedMaster[{r.parent, r.vrid}] = master->second;
      }
    }
  }
  Zentra::StateDocument snapshot = frrSnapshot(inputs_);
  if (published_ && *published_ == snapshot) return;
  publish_(snapshot);
  KIV_TRACE(trace(), 1,
            "published at " << std::fixed << std::setprecision(6) << Kiv::now() << ": "
                            << inputs_.routers.size() << " routers from vrrpd, "
                            << std::count_if(inputs_.routers.begin(), inputs_.routers.end(),
                                             [](const VrrpdRouter& r) {
                                               return r.state == Routing::Fhrp::FhrpState::master;
                                             })
                            << " masters");
  published_ = std::move(snapshot);
}

}  // namespace Sources
