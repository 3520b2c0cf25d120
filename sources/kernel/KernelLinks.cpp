// SPDX-License-Identifier: Apache-2.0
#include "sources/kernel/KernelLinks.h"

#include <linux/netlink.h>
#include <linux/rtnetlink.h>

#include <cerrno>
#include <cstring>

#include "kiv/Exception.h"
#include "kiv/Trace.h"

namespace Sources {
namespace {
constexpr std::size_t kDatagramBytes = 32768;
// More than a receive buffer of the largest size holds, so that a drain leaves nothing stale.
constexpr int kDrainDatagrams = 1 << 16;
}  // namespace

KernelLinks::KernelLinks(Loop::EventLoop& loop, OnChange onChange, Log log,
                         std::unique_ptr<Rtnetlink> netlink)
    : loop_(loop),
      onChange_(std::move(onChange)),
      log_(std::move(log)),
      netlink_(std::move(netlink)) {}

KernelLinks::~KernelLinks() {
  if (retry_) loop_.timerDel(*retry_);
  if (netlink_) loop_.readFdDel(netlink_->eventFd());
}

void KernelLinks::start() {
  if (!netlink_) netlink_ = openRtnetlink(log_);
  resync();
  loop_.readFdIs(netlink_->eventFd(), "rtnetlink reader", [this] { readEvents(); });
}

bool KernelLinks::resync() {
  if (retry_) loop_.timerDel(*retry_);
  retry_.reset();
  alignas(nlmsghdr) char buffer[kDatagramBytes];
  for (int n = 0; n < kDrainDatagrams && netlink_->nextEvents(buffer, sizeof(buffer)) != 0;) {
    ++n;
  }
  LinkTable fresh;
  try {
    netlink_->dump(RTM_GETLINK, [&](const nlmsghdr* m) { fresh.handle(m); });
    netlink_->dump(RTM_GETADDR, [&](const nlmsghdr* m) { fresh.handle(m); });
  } catch (const Kiv::RangeException& e) {
    if (!std::exchange(resyncFailed_, true)) {
      log_(true, e.message() + "; the last view of the interfaces stays until a dump succeeds");
    }
    retry_ = loop_.timerIs(kRetrySeconds, false, "rtnetlink dump retry", [this] {
      retry_.reset();
      // Events lost meanwhile were reported when they were; this only brings the new view.
      if (resync()) onChange_({}, false);
    });
    return false;
  }
  if (std::exchange(resyncFailed_, false)) log_(false, "rtnetlink: the interfaces read again");
  fresh.takeVrrpChanges();  // a dump is all news: the caller asks about every router
  fresh.takeViewChanged();
  table_ = std::move(fresh);
  view_ = table_.view();
  return true;
}

void KernelLinks::readEvents() {
  alignas(nlmsghdr) char buffer[kDatagramBytes];
  bool changed = false;
  bool lost = false;
  for (int n = 0; n < kDatagramsPerTurn; ++n) {
    ssize_t length = netlink_->nextEvents(buffer, sizeof(buffer));
    if (length < 0 && errno == ENOBUFS) {
      lost = true;
      break;
    }
    if (length <= 0) break;
    table_.apply(std::string_view(buffer, static_cast<std::size_t>(length)));
    changed = true;
  }
  if (lost) KIV_TRACE(Kiv::traceHandle("Sources"), 1, "rtnetlink lost events: dumping again");
  // Events were lost: only a dump tells what the kernel holds now. Until one succeeds the events
  // that follow still apply to the last view, newer than it either way.
  if (lost && resync()) changed = false;
  if (changed && table_.takeViewChanged()) view_ = table_.view();
  if (changed || lost) onChange_(table_.takeVrrpChanges(), lost);
}

}  // namespace Sources
