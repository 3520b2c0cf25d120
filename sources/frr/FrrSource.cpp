// SPDX-License-Identifier: Apache-2.0
#include "sources/frr/FrrSource.h"

#include <utility>

#include "platform/Log.h"
#include "platform/Status.h"
#include "sources/frr/FrrFeed.h"
#include "sources/frr/VtyAdvice.h"

namespace Sources {

FrrSource::FrrSource(Loop::EventLoop& loop, Zentra::StatePublisher& publisher,
                     Kiv::String8 vtyDirectory)
    : loop_(loop), publisher_(publisher), vtyDirectory_(std::move(vtyDirectory)) {}

FrrSource::~FrrSource() = default;

void FrrSource::start() {
  if (feed_) return;
  auto publish = [this](const Zentra::StateDocument& snapshot) {
    publisher_.apply(snapshot, vtyDirectory_ + "/vrrpd.vty");
  };
  // The feed's lines about vrrpd are also the status line's "vrrpd" topic, until vrrpd answers
  // again; a socket that cannot be reached for a reason that waiting will not mend says what
  // to do in the same line.
  auto log = [path = vtyDirectory_ + "/vrrpd.vty"](bool warning, const Kiv::String8& line) {
    const bool aboutVrrpd = line.starts_with("vrrpd");
    if (!warning) {
      Log::info(line);
      if (aboutVrrpd) Status::is("vrrpd", "");
      return;
    }
    Kiv::String8 told = line;
    if (aboutVrrpd) {
      if (const Kiv::String8 advice = vtyAdvice(path); !advice.empty()) told += "; " + advice;
      Status::is("vrrpd", told);
    }
    Log::warning(told);
  };
  feed_ = std::make_unique<FrrFeed>(loop_, vtyDirectory_, publish, log);
  feed_->start();
}

void FrrSource::refresh() {
  // A reload asked for is answered in the log even when nothing changed.
  Log::info("reloading: asking vrrpd at " + vtyDirectory_ + "/vrrpd.vty for its routers again");
  if (feed_) feed_->refresh();
}

}  // namespace Sources
