#include "sources/frr/FrrSource.h"

#include <utility>

#include "platform/Log.h"
#include "sources/frr/FrrFeed.h"

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
  auto log = [](bool warning, const Kiv::String8& line) {
    warning ? Log::warning(line) : Log::info(line);
  };
  feed_ = std::make_unique<FrrFeed>(loop_, vtyDirectory_, publish, log);
  feed_->start();
}

void FrrSource::refresh() {
  if (feed_) feed_->refresh();
}

}  // namespace Sources
